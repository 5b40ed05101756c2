#include "base/remove_tree.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace quelmar::utilities {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

std::error_code lastError() {
  return {errno, std::generic_category()};
}

std::vector<std::string> namesIn(DIR* directory) {
  std::vector<std::string> names;
  while (const dirent* entry = readdir(directory)) {
    if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0) {
      names.emplace_back(entry->d_name);
    }
  }
  return names;
}

/// Removes the entry `name` of the open directory `parent`.
std::error_code removeEntry(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return {};
  // That it is a directory is told as EISDIR or EPERM; opening it as one tells surely.
  const std::error_code notUnlinked = lastError();
  const int fd = openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd < 0) {
    const bool isDirectory = errno != ENOTDIR && errno != ELOOP;
    const std::error_code notOpened = lastError();
    if (!isDirectory) return notUnlinked;
    return unlinkat(parent, name, AT_REMOVEDIR) == 0 ? std::error_code() : notOpened;
  }
  const std::unique_ptr<DIR, CloseDirectory> directory(fdopendir(fd));
  if (!directory) {
    const std::error_code notListed = lastError();
    close(fd);
    return notListed;
  }
  std::error_code first;
  for (const std::string& child : namesIn(directory.get())) {
    const std::error_code ec = removeEntry(fd, child.c_str());
    if (ec && !first) first = ec;
  }
  if (unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT) return {};
  return first ? first : lastError();
}

}  // namespace

std::error_code removeTree(const boost::filesystem::path& path) {
  return removeEntry(AT_FDCWD, path.c_str());
}

}  // namespace quelmar::utilities

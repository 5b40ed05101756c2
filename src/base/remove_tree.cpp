#include "base/remove_tree.h"

#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "base/directory.h"

namespace quelmar::utilities {
namespace {

/// Removes the entry `name` of the open directory `parent`.
std::error_code removeEntry(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return {};
  // For a directory unlink fails with EISDIR on some hosts, EPERM on others; opening it shows what it is.
  const std::error_code notUnlinked = lastError();
  std::error_code first;
  Directory directory(parent, name, Links::kNone, first);
  if (first == std::errc::not_a_directory || first == std::errc::too_many_symbolic_link_levels) {
    return notUnlinked;
  }
  if (directory) {
    std::string entries;
    first = directory.list(entries);
    forEachEntry(entries, [&](EntryKind, const char* child) {
      const std::error_code ec = removeEntry(directory.get(), child);
      if (ec && !first) first = ec;
    });
  }
  if (unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT) return {};
  return first ? first : lastError();
}

}  // namespace

std::error_code removeTree(const boost::filesystem::path& path) {
  return removeEntry(AT_FDCWD, path.c_str());
}

}  // namespace quelmar::utilities

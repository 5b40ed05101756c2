#include "zipper/dir_entry.h"

#include <cstring>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zipper {
namespace {

constexpr char kFile = 'f';
constexpr char kDirectory = 'd';
constexpr char kLeftOut = '-';

struct CloseDirectory {
  void operator()(DIR* directory) const { ::closedir(directory); }
};
using DirectoryPtr = std::unique_ptr<DIR, CloseDirectory>;

DirectoryPtr openDirectory(const std::string& path, int extraOpenFlags) {
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | extraOpenFlags);
  if (descriptor < 0) return nullptr;
  DirectoryPtr directory(::fdopendir(descriptor));
  if (!directory) ::close(descriptor);
  return directory;
}

char kindOf(DIR* directory, const dirent& entry) {
  if (std::strcmp(entry.d_name, ".") == 0 || std::strcmp(entry.d_name, "..") == 0) return kLeftOut;
  if (entry.d_type == DT_DIR) return kDirectory;
  if (entry.d_type != DT_LNK && entry.d_type != DT_UNKNOWN) return kFile;
  struct stat status {};
  if (::fstatat(::dirfd(directory), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) return kFile;
  if (S_ISDIR(status.st_mode)) return kDirectory;
  if (!S_ISLNK(status.st_mode)) return kFile;
  const bool leadsToDirectory =
      ::fstatat(::dirfd(directory), entry.d_name, &status, 0) == 0 && S_ISDIR(status.st_mode);
  return leadsToDirectory ? kLeftOut : kFile;
}

}  // namespace

const std::string CDirEntry::Separator = "/";

bool CDirEntry::isDir(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string CDirEntry::fileName(const std::string& path) {
  const std::size_t separator = path.rfind(Separator);
  return separator == std::string::npos ? path : path.substr(separator + Separator.size());
}

bool checkFileExists(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0;
}

bool isDirectory(const std::string& path) {
  return CDirEntry::isDir(path);
}

std::string fileNameFromPath(const std::string& path) {
  return CDirEntry::fileName(path);
}

FileWalk::FileWalk(std::string path) : path_(std::move(path)) {
  descend(0);
}

void FileWalk::descend(int extraOpenFlags) {
  const DirectoryPtr directory = openDirectory(path_, extraOpenFlags);
  if (!directory) return;
  levels_.push_back({names_.size(), names_.size(), path_.size()});
  while (const dirent* entry = ::readdir(directory.get())) {
    const char kind = kindOf(directory.get(), *entry);
    if (kind == kLeftOut) continue;
    names_ += kind;
    names_.append(entry->d_name).push_back('\0');
  }
}

bool FileWalk::next(std::string& file) {
  while (!levels_.empty()) {
    Level& level = levels_.back();
    path_.resize(level.pathLength);
    if (level.nextName == names_.size()) {
      names_.resize(level.firstName);
      levels_.pop_back();
      continue;
    }
    const char kind = names_[level.nextName];
    const char* name = names_.c_str() + level.nextName + 1;
    path_.append(CDirEntry::Separator).append(name);
    level.nextName += std::strlen(name) + 2;
    if (kind == kFile) {
      file = path_;
      return true;
    }
    descend(O_NOFOLLOW);  // it may have become a link since it was listed
  }
  return false;
}

FileWalk filesFromDirectory(const std::string& path) {
  return FileWalk(path);
}

}  // namespace zipper

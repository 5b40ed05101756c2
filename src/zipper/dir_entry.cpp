#include "zipper/dir_entry.h"

#include <cstring>
#include <utility>

#include <sys/stat.h>

namespace zipper {

using quelmar::utilities::EntryKind;
using quelmar::utilities::Links;
using quelmar::utilities::openBelow;

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

FileWalk::FileWalk(std::string path, std::size_t trusted, Lost lost)
    : path_(std::move(path)), trusted_(trusted), lost_(std::move(lost)) {
  descend();
}

bool FileWalk::open() {
  std::error_code ec;
  directory_ = openBelow(path_, trusted_, ec);
  if (ec) lost_(path_, ec.value());
  return !ec;
}

void FileWalk::descend() {
  if (!open()) {
    openLevel_ = 0;
    return;
  }
  levels_.push_back({names_.size(), names_.size(), path_.size()});
  openLevel_ = levels_.size();
  const std::error_code ec = directory_.list(names_);
  if (ec) lost_(path_, ec.value());
}

bool FileWalk::next(std::string& file) {
  while (!levels_.empty()) {
    Level& level = levels_.back();
    path_.resize(level.pathLength);
    if (level.nextName < names_.size() && openLevel_ != levels_.size()) {  // back from below
      openLevel_ = levels_.size();
      if (!open()) level.nextName = names_.size();
    }
    if (level.nextName == names_.size()) {
      names_.resize(level.firstName);
      levels_.pop_back();
      continue;
    }
    const auto kind = static_cast<EntryKind>(names_[level.nextName]);
    const char* name = names_.c_str() + level.nextName + 1;
    struct stat status {};
    level.nextName += std::strlen(name) + 2;
    path_.append(CDirEntry::Separator).append(name);
    if (kind == EntryKind::kUnknown) {
      if (const std::error_code ec = lookUp(directory(), name, Links::kNone, status)) {
        lost_(path_, ec.value());  // of a folder no empty file of its name may be made
        continue;
      }
    }
    if (kind != EntryKind::kDirectory && !S_ISDIR(status.st_mode)) {
      file = path_;
      return true;
    }
    descend();
  }
  return false;
}

FileWalk filesFromDirectory(const std::string& path) {
  return {path, path.rfind(CDirEntry::Separator) + 1, [](const std::string&, int) {}};
}

}  // namespace zipper

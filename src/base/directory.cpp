#include "base/directory.h"

#include <algorithm>
#include <cstring>
#include <new>

#include <fcntl.h>

namespace quelmar::utilities {
namespace {

EntryKind kindOf(mode_t mode) {
  if (S_ISREG(mode)) return EntryKind::kFile;
  if (S_ISDIR(mode)) return EntryKind::kDirectory;
  return S_ISLNK(mode) ? EntryKind::kLink : EntryKind::kOther;
}

EntryKind kindOf(int directory, const dirent& entry) {
  switch (entry.d_type) {
    case DT_REG:
      return EntryKind::kFile;
    case DT_DIR:
      return EntryKind::kDirectory;
    case DT_LNK:
      return EntryKind::kLink;
    case DT_UNKNOWN:
      break;
    default:
      return EntryKind::kOther;
  }
  struct stat info {};
  return lookUp(directory, entry.d_name, Links::kNone, info) ? EntryKind::kUnknown : kindOf(info.st_mode);
}

}  // namespace

std::error_code lookUp(int parent, const char* name, Links links, struct stat& info) {
  const int flags = links == Links::kAny ? 0 : AT_SYMLINK_NOFOLLOW;
  if (fstatat(parent, name, &info, flags) != 0) return lastError();
  if (links != Links::kOwn || !S_ISLNK(info.st_mode)) return {};
  if (info.st_uid != 0 && info.st_uid != geteuid()) return {};
  return lookUp(parent, name, Links::kAny, info);
}

Directory::Directory(int parent, const char* name, Links links, std::error_code& ec) {
  ec.clear();
  struct stat info {};
  if (links == Links::kOwn) {
    ec = lookUp(parent, name, links, info);
    if (!ec && S_ISLNK(info.st_mode)) ec = std::make_error_code(std::errc::too_many_symbolic_link_levels);
    if (ec) return;
  }
  const int noFollow = links == Links::kNone ? O_NOFOLLOW : 0;
  Descriptor fd(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC | noFollow));
  if (fd) directory_.reset(fdopendir(fd.get()));
  if (directory_) {
    fd.release();
  } else {
    ec = lastError();
  }
}

std::error_code Directory::list(std::string& entries) {
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(directory_.get());
    if (entry == nullptr) return lastError();
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    const std::size_t whole = entries.size();
    try {
      entries += static_cast<char>(kindOf(get(), *entry));
      entries.append(entry->d_name).push_back('\0');
    } catch (const std::bad_alloc&) {
      entries.resize(whole);
      return std::make_error_code(std::errc::not_enough_memory);
    }
  }
}

Directory openWithoutLinks(const std::string& path, std::size_t trusted, std::error_code& ec) {
  const std::string top = path.substr(0, trusted);
  Directory directory(AT_FDCWD, top.empty() ? "." : top.c_str(), Links::kAny, ec);
  for (std::size_t at = trusted; !ec && at < path.size();) {
    const std::size_t end = std::min(path.find('/', at), path.size());
    if (end > at) directory = Directory(directory.get(), path.substr(at, end - at).c_str(), Links::kNone, ec);
    at = end + 1;
  }
  return directory;
}

std::error_code listDirectory(const char* path, Links links, std::string& entries) {
  std::error_code ec;
  Directory directory(AT_FDCWD, path, links, ec);
  return ec ? ec : directory.list(entries);
}

}  // namespace quelmar::utilities

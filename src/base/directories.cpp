#include "base/directories.h"

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "base/remove_tree.h"

namespace fs = boost::filesystem;

namespace quelmar::utilities {

bool isOwnDirectory(const fs::path& path) {
  struct stat entry {};
  if (lstat(path.c_str(), &entry) != 0) return false;
  if (S_ISDIR(entry.st_mode)) return true;
  if (!S_ISLNK(entry.st_mode)) return false;
  if (entry.st_uid != 0 && entry.st_uid != geteuid()) return false;
  boost::system::error_code ec;
  return fs::is_directory(path, ec);
}

bool ensureDirectoryExist(const std::string& dir, std::error_code& ec) {
  ec.clear();
  // "name/" would make the checks below look through a link called "name".
  fs::path path(dir);
  while (path.has_parent_path() && path.filename_is_dot()) path.remove_filename();

  boost::system::error_code error;
  if (isOwnDirectory(path)) return true;
  if (fs::exists(fs::symlink_status(path, error))) {
    ec = removeTree(path);
    if (ec) return false;
  }
  error.clear();
  fs::create_directories(path, error);
  if (error) {
    ec = error;
    return false;
  }
  fs::permissions(path, fs::all_all, error);
  if (error) {
    ec = error;
    return false;
  }
  return isOwnDirectory(path);
}

void discardForeignEntry(const fs::path& path) {
  struct stat entry {};
  if (lstat(path.c_str(), &entry) != 0 || S_ISDIR(entry.st_mode)) return;
  if (S_ISREG(entry.st_mode) && entry.st_nlink == 1) return;
  boost::system::error_code ec;
  fs::remove(path, ec);
}

}  // namespace quelmar::utilities

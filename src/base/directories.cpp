#include "base/directories.h"

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = boost::filesystem;

namespace quelmar::utilities {
namespace {

std::error_code lookUp(const fs::path& path, Links links, struct stat& entry) {
  return lookUp(AT_FDCWD, path.c_str(), links, entry);
}

bool isMissing(const std::error_code& ec) {
  return ec == std::errc::no_such_file_or_directory;
}

/// An error when a folder above `path` is another user's link, or its status cannot be read.
std::error_code foreignLinkAbove(const fs::path& path) {
  fs::path above;
  for (const fs::path& part : path.parent_path()) {
    above /= part;
    struct stat entry {};
    const std::error_code ec = lookUp(above, Links::kOwn, entry);
    if (ec) return isMissing(ec) ? std::error_code() : ec;
    if (S_ISLNK(entry.st_mode)) return std::make_error_code(std::errc::too_many_symbolic_link_levels);
  }
  return {};
}

}  // namespace

std::error_code removeUnexpected(const fs::path& path, Expected expected) {
  struct stat entry {};
  std::error_code ec = lookUp(path, Links::kNone, entry);
  if (!ec && S_ISDIR(entry.st_mode)) {
    return expected == Expected::kDirectory ? ec : std::make_error_code(std::errc::is_a_directory);
  }
  if (!ec && expected == Expected::kFile && S_ISREG(entry.st_mode) && entry.st_nlink == 1) return {};
  if (!ec && unlink(path.c_str()) != 0) ec = lastError();
  return isMissing(ec) ? std::error_code() : ec;
}

std::error_code claimDirectory(const fs::path& given, Links links, bool* made) {
  // With a trailing "/" the checks below would follow a link at `path`.
  fs::path path(given);
  while (path.has_parent_path() && path.filename_is_dot()) path.remove_filename();

  struct stat entry {};
  std::error_code ec = links == Links::kOwn ? foreignLinkAbove(path) : std::error_code();
  if (!ec) ec = lookUp(path, Links::kNone, entry);
  const bool isLink = !ec && S_ISLNK(entry.st_mode);
  if (isLink && links != Links::kNone) ec = lookUp(path, links, entry);
  if (!ec && S_ISDIR(entry.st_mode)) return {};
  // The user has named this link, so the tool does not remove it.
  if (isLink && links == Links::kAny) return ec ? ec : std::make_error_code(std::errc::not_a_directory);
  if (!ec || isMissing(ec)) ec = removeUnexpected(path, Expected::kDirectory);
  if (ec) return ec;

  boost::system::error_code error;
  if (path.has_parent_path()) fs::create_directories(path.parent_path(), error);
  if (error) return error;
  if (mkdir(path.c_str(), 0777) == 0) {
    if (made != nullptr) *made = true;
    return {};
  }
  ec = lastError();
  // Another run may have created it meanwhile.
  const bool isThere = !lookUp(path, Links::kNone, entry) && S_ISDIR(entry.st_mode);
  return ec == std::errc::file_exists && isThere ? std::error_code() : ec;
}

std::error_code openToAllUsers(const fs::path& path) {
  std::error_code ec;
  const Directory directory(AT_FDCWD, path.c_str(), Links::kNone, ec);
  if (!ec && fchmod(directory.get(), 0777) != 0) ec = lastError();
  return ec;
}

bool ensureDirectoryExist(const std::string& dir, std::error_code& ec, Links links) {
  bool made = false;
  ec = claimDirectory(dir, links, &made);
  if (made) ec = openToAllUsers(dir);
  return !ec;
}

}  // namespace quelmar::utilities

#include "collect/file_system.h"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/directory.h"
#include "base/remove_tree.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar::helper {
namespace {

constexpr mode_t kWriteForAll = 0222;

void addWritePermission(const fs::path& path) {
  try {
    struct stat info {};
    if (const std::error_code ec = utilities::lookUp(AT_FDCWD, path.c_str(), utilities::Links::kNone, info)) {
      throw std::system_error(ec);
    }
    // chmod would go through a link, and for all names of a file, to what is not ours.
    if (!S_ISDIR(info.st_mode) && (!S_ISREG(info.st_mode) || info.st_nlink != 1)) return;
    // All other bits are replaced: kept on purpose. Not of what a link leads to that was put there just now.
    if (fchmodat(AT_FDCWD, path.c_str(), kWriteForAll, AT_SYMLINK_NOFOLLOW) != 0) {
      throw std::system_error(utilities::lastError());
    }
  } catch (const std::exception&) {
    LOG_CALL(kErr, "{} permissions exception; Reason: {}", path.string(),
             boost::current_exception_diagnostic_information());
  }
}

/// Calls back with each entry of `dir` in listing order.
std::error_code forEachEntry(const fs::path& dir, utilities::Links links,
                             const std::function<void(const fs::path&)>& onEntry) {
  std::string entries;
  const std::error_code ec = utilities::listDirectory(dir.c_str(), links, entries);
  utilities::forEachEntry(entries, [&](utilities::EntryKind, const char* name) { onEntry(dir / name); });
  return ec;
}

void walkEntry(const fs::path& path, const std::function<void(const std::string&)>& beforeDir,
               const std::function<void(const std::string&)>& afterDir,
               const std::function<void(const std::string&)>& onFile) {
  boost::system::error_code ec;
  const fs::file_status status = fs::symlink_status(path, ec);
  if (fs::is_directory(status)) {
    if (beforeDir) beforeDir(path.string());
    directoryWalker(path, beforeDir, afterDir, onFile, utilities::Links::kNone);
    if (afterDir) afterDir(path.string());
  } else if (ec) {
    LOG_CALL_AS("directoryWalker", kWarn, "current path:{}; Reason: code:{} msg:{}", path.string(),
                ec.value(), ec.message());
  } else if (onFile) {
    onFile(path.string());
  }
}

}  // namespace

bool ensureRemove(const fs::path& path, std::error_code& ec) {
  ec = utilities::removeTree(path);
  if (ec) {
    addWritePermission(path);
    ec = utilities::removeTree(path);
  }
  return !ec;
}

void ensureRemove(const fs::path& path) {
  std::error_code ignored;
  ensureRemove(path, ignored);
}

void directoryWalker(const fs::path& root, const std::function<void(const std::string&)>& beforeDir,
                     const std::function<void(const std::string&)>& afterDir,
                     const std::function<void(const std::string&)>& onFile, utilities::Links links) {
  struct stat info {};
  std::error_code ec = utilities::lookUp(AT_FDCWD, root.c_str(), links, info);
  if (!ec && !S_ISDIR(info.st_mode)) ec = std::make_error_code(std::errc::not_a_directory);
  if (ec) {
    LOG_CALL(kWarn, "Source directory {} not exist.; Reason: code:{} msg:{}", root.string(), ec.value(),
             ec.message());
    return;
  }
  try {
    const std::error_code listed = forEachEntry(
        root, links, [&](const fs::path& entry) { walkEntry(entry, beforeDir, afterDir, onFile); });
    if (listed) throw std::system_error(listed, "code:" + std::to_string(listed.value()));
  } catch (const std::exception& failure) {
    LOG_CALL(kWarn, "An exception occurred while traversing the directory({}); Reason: {}", root.string(),
             failure.what());
  } catch (...) {
    LOG_CALL(kWarn, "An unknown exception occurred while traversing the directory; Reason: {}",
             boost::current_exception_diagnostic_information());
  }
}

}  // namespace quelmar::helper

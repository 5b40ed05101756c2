#include "collect/file_system.h"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/directories.h"
#include "base/directory.h"
#include "base/regular_file.h"
#include "base/remove_tree.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar::helper {
namespace {

constexpr fs::perms kWriteForAll = static_cast<fs::perms>(0222);
constexpr const char* kMissingSource = "Source directory {} not exist.; Reason: code:{} msg:{}";

void addWritePermission(const fs::path& path) {
  try {
    struct stat info {};
    if (const std::error_code ec = utilities::lookUp(AT_FDCWD, path.c_str(), utilities::Links::kNone, info)) {
      throw std::system_error(ec);
    }
    // chmod would go through a link, and for all names of a file, to what is not ours.
    if (!S_ISDIR(info.st_mode) && (!S_ISREG(info.st_mode) || info.st_nlink != 1)) return;
    // All other bits are replaced: kept on purpose.
    fs::permissions(path, kWriteForAll);
  } catch (const std::exception&) {
    LOG_CALL(kErr, "{} permissions exception; Reason: {}", path.string(),
             boost::current_exception_diagnostic_information());
  }
}

/// Tells whether a directory stands at `src`; the reason why not goes to `ec`. A link to one does not count,
/// not at the top of a source either: it may lead to the root of the disk.
bool isSourceDirectory(const fs::path& src, std::error_code& ec) {
  boost::system::error_code error;
  const fs::file_status status = fs::symlink_status(src, error);
  ec = error;
  if (fs::is_directory(status)) return true;
  if (!ec) ec = std::make_error_code(std::errc::not_a_directory);
  return false;
}

/// What copyDir and copyFile2Dir do before their walk; the records carry the caller's name.
std::error_code prepareCopy(const char* function, Level missingSourceLevel, const fs::path& src,
                            const fs::path& dst) {
  std::error_code ec;
  if (!isSourceDirectory(src, ec)) {
    LOG_CALL_AS(function, missingSourceLevel, kMissingSource, src.string(), ec.value(), ec.message());
    return ec;
  }
  struct stat entry {};
  ec = utilities::lookUp(AT_FDCWD, dst.c_str(), utilities::Links::kNone, entry);
  if (!ec && !S_ISDIR(entry.st_mode) && !ensureRemove(dst, ec)) {
    LOG_CALL_AS(function, kErr, "remove {} fail.; Reason: code:{} msg:{}", dst.string(), ec.value(),
                ec.message());
    return ec;
  }
  ec = utilities::claimDirectory(dst, utilities::Links::kNone);
  if (ec) {
    LOG_CALL_AS(function, kErr, "Unable to create destination directory {} .; Reason: code:{} msg:{}",
                dst.string(), ec.value(), ec.message());
  }
  return ec;
}

/// Tells whether the two name the same directory.
bool isSameDirectory(const fs::path& one, const fs::path& other) {
  boost::system::error_code ec;
  return fs::equivalent(one, other, ec);
}

/// Calls back with each entry of `dir` in listing order.
std::error_code forEachEntry(const fs::path& dir, utilities::Links links,
                             const std::function<void(const fs::path&)>& onEntry) {
  std::string entries;
  const std::error_code ec = utilities::listDirectory(dir.c_str(), links, entries);
  utilities::forEachEntry(entries, [&](utilities::EntryKind, const char* name) { onEntry(dir / name); });
  return ec;
}

/// @param top  the destination of the whole copy: when it lies inside the source, it is not copied into
/// itself.
std::error_code copyTree(const fs::path& src, const fs::path& dst, const fs::path& top,
                         const FileFilter& filter) {
  if (const std::error_code ec = prepareCopy("copyDir", kWarn, src, dst)) return ec;
  return forEachEntry(src, utilities::Links::kAny, [&](const fs::path& entry) {
    boost::system::error_code status;
    if (fs::is_directory(fs::symlink_status(entry, status))) {
      if (!isSameDirectory(entry, top)) copyTree(entry, dst / entry.filename(), top, filter);
    } else if (!filter || filter(entry.string())) {
      std::error_code ec;
      utilities::copyRegularFile(entry, dst / entry.filename(), utilities::Overwrite::kNo, ec);
      // Other errors are no news: files come and go. This one tells why pieces are missing.
      if (ec == std::errc::no_space_on_device) {
        LOG_CALL_AS("copyDir", kWarn, "copy {} to {} failed.; Reason: code:{} msg:{}", entry.string(),
                    dst.string(), ec.value(), ec.message());
      }
    }
  });
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

std::error_code copyDir(const fs::path& src, const fs::path& dst, const FileFilter& filter) {
  return copyTree(src, dst, dst, filter);
}

bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter,
                  bool /*flag*/) {
  if (prepareCopy(__func__, kErr, sourceDir, destDir)) return false;
  forEachEntry(sourceDir, utilities::Links::kAny, [&](const fs::path& entry) {
    if (!filter(entry.string())) return;
    std::error_code notReported;
    utilities::copyRegularFile(entry, destDir / entry.filename(), utilities::Overwrite::kYes, notReported);
  });
  return true;
}

void directoryWalker(const fs::path& root, const std::function<void(const std::string&)>& beforeDir,
                     const std::function<void(const std::string&)>& afterDir,
                     const std::function<void(const std::string&)>& onFile, utilities::Links links) {
  struct stat info {};
  std::error_code ec = utilities::lookUp(AT_FDCWD, root.c_str(), links, info);
  if (!ec && !S_ISDIR(info.st_mode)) ec = std::make_error_code(std::errc::not_a_directory);
  if (ec) {
    LOG_CALL(kWarn, kMissingSource, root.string(), ec.value(), ec.message());
    return;
  }
  try {
    const std::error_code listed = forEachEntry(
        root, links, [&](const fs::path& entry) { walkEntry(entry, beforeDir, afterDir, onFile); });
    if (listed) throw std::system_error(listed, "cannot list");
  } catch (const std::exception& failure) {
    LOG_CALL(kWarn, "An exception occurred while traversing the directory({}); Reason: {}", root.string(),
             failure.what());
  } catch (...) {
    LOG_CALL(kWarn, "An unknown exception occurred while traversing the directory; Reason: {}",
             boost::current_exception_diagnostic_information());
  }
}

}  // namespace quelmar::helper

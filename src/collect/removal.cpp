#include "collect/removal.h"

#include <boost/exception/diagnostic_information.hpp>
#include <fcntl.h>

#include "base/tree_walk.h"
#include "logging/logger.h"

namespace quelmar::helper {
namespace {

constexpr mode_t kWriteForAll = 0222;

/// Replaces all permission bits: kept on purpose. By a descriptor: others may exchange what has the name.
std::error_code makeWritable(const Place& place) {
  const int flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC;
  struct stat info {};
  if (const std::error_code ec = lookUp(place.folder.get(), place.name.c_str(), info)) return ec;
  if (!S_ISDIR(info.st_mode) && (!S_ISREG(info.st_mode) || info.st_nlink != 1)) return {};
  const Descriptor entry(openat(place.folder.get(), place.name.c_str(), flags));
  if (!entry || fstat(entry.get(), &info) != 0) return lastError();
  if (!S_ISDIR(info.st_mode) && (!S_ISREG(info.st_mode) || info.st_nlink != 1)) return {};
  return fchmod(entry.get(), kWriteForAll) == 0 ? std::error_code() : lastError();
}

void tellMissing(const std::string& path, const std::error_code& ec) {
  LOG_CALL_AS("directoryWalker", kWarn, "Source directory {} not exist.; Reason: code:{} msg:{}", path, ec.value(),
              ec.message());
}

}  // namespace

bool ensureRemove(const fs::path& path, std::error_code& ec) {
  const Place place = locate(path.string(), Links::kOwn, ec);
  if (!ec) ec = removeEntry(place.folder.get(), place.name.c_str());
  if (ec && place.folder) {
    if (const std::error_code unchanged = makeWritable(place)) {
      LOG_CALL_AS("addWritePermission", kErr, "{} permissions exception; Reason: {}", path.string(),
                  boost::diagnostic_information(std::system_error(unchanged)));
    }
    ec = removeEntry(place.folder.get(), place.name.c_str());
  }
  if (ec == std::errc::no_such_file_or_directory) ec.clear();
  return !ec;
}

void ensureRemove(const fs::path& path) {
  std::error_code ignored;
  ensureRemove(path, ignored);
}

void directoryWalker(const fs::path& root, const std::function<void(const std::string&)>& beforeDir,
                     const std::function<void(const std::string&)>& afterDir,
                     const std::function<void(const std::string&)>& onFile, Depth depth) {
  std::error_code ec;
  Folder top(openFolder(root.string(), Links::kOwn, ec));
  if (ec) return tellMissing(root.string(), ec);
  try {
    TreeWalk walk(std::move(top), root.string(), [](const std::string& path, const std::error_code& why) {
      LOG_CALL_AS("directoryWalker", kWarn,
                  "An exception occurred while traversing the directory({}); Reason: code:{}: {}", path, why.value(),
                  why.message());
    });
    while (walk.next()) {
      const std::string path = walk.path();
      const bool isFolder = walk.kind() == EntryKind::kDirectory;
      if (walk.kind() == EntryKind::kUnknown) {
        struct stat info {};
        ec = lookUp(walk.folder(), walk.name(), info);
        LOG_CALL(kWarn, "current path:{}; Reason: code:{} msg:{}", path, ec.value(), ec.message());
        continue;
      }
      if (isFolder && !walk.hasLeft()) {
        if (beforeDir) beforeDir(path);
        Folder folder = depth == Depth::kTree ? walk.open(ec) : Folder();
        if (folder.open) {
          walk.enter(std::move(folder));
          continue;
        }
        if (ec) tellMissing(path, ec);
      }
      if (isFolder && afterDir) afterDir(path);
      if (!isFolder && onFile) onFile(path);
    }
  } catch (const std::exception& failure) {
    LOG_CALL(kWarn, "An exception occurred while traversing the directory({}); Reason: {}", root.string(),
             failure.what());
  } catch (...) {
    LOG_CALL(kWarn, "An unknown exception occurred while traversing the directory; Reason: {}",
             boost::current_exception_diagnostic_information());
  }
}

}  // namespace quelmar::helper

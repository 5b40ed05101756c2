#include "workspace/output_root.h"

#include <algorithm>
#include <ctime>
#include <map>
#include <set>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/file.h>

#include "base/tree_walk.h"
#include "collect/removal.h"
#include "collect/selection.h"
#include "logging/logger.h"
#include "platform/host.h"
#include "sysinfo/reports.h"
#include "workspace/protected_places.h"
#include "zipper/archive_file.h"

namespace quelmar {
namespace {

constexpr const char* kDefaultRoot = "/tmp/oBrelaLog";
constexpr const char* kScratch = "logFiles";
constexpr const char* kSystemInfo = "system_info.log";
constexpr std::uintmax_t kMinAvailableBytes = 524'288'000;  // 500 MiB
constexpr std::uintmax_t kMaxReportBytes = 1'073'741'824;   // 1 GiB
// One fewer are kept at the start of a run, so that there are at most this many after it.
constexpr std::size_t kMaxArchives = 5;
constexpr int kMaxNames = 1000;  // that are tried for a folder of this run's own

struct Root {
  int folder = -1;
  bool isLocked = false;           // by this run
  bool isShared = false;           // by another run that has locked it
  std::set<std::string> archives;  // that were there when the run began
};

Root& outputRoot() {
  static auto* const kRoot = new Root;
  return *kRoot;
}

bool mayBeEmptied(const std::string& root, const std::string& executable) {
  const std::string place = protectedPlaceIn(root, executable);
  if (!place.empty()) {
    LOG_CALL_AS("ensureLogRootDir", kWarn, "{} is not used for the output, the default is; Reason: it holds {}", root,
                place);
  }
  return place.empty();
}

/// Opens or makes the folder at `path`, holds and locks it. @return whether it is there
bool takeRoot(const std::string& path, Links links) {
  std::error_code ec;
  Descriptor folder = makeFolder(path, links, ec, Access::kAll);
  if (ec) return false;
  Root& root = outputRoot();
  root.isLocked = flock(folder.get(), LOCK_EX | LOCK_NB) == 0;
  root.isShared = !root.isLocked && errno == EWOULDBLOCK;
  root.folder = hold(path, std::move(folder));
  return true;
}

bool isArchive(const std::string& path) {
  return logutils::isAcceptViaExtName(path, {".zip"});
}

/// Tells whether the tool gives entries of an output root names like this one.
bool isOwnName(const std::string& name) {
  using boost::algorithm::ends_with;
  using boost::algorithm::starts_with;
  const bool isScratch = name == kScratch || starts_with(name, kScratch + std::string("."));
  const bool isUnfinished = ends_with(name, std::string(".zip") + zipper::kPartialSuffix);
  return isScratch || name == kSystemInfo || (starts_with(name, kArchivePrefix) && (isArchive(name) || isUnfinished));
}

/// Tells whether another run uses an entry of the output root, or has locked it, or that cannot be found out.
/// @param locked  receives the open entry; a lock that this call has got lasts as long
bool isInUse(int folder, const std::string& name, Descriptor& locked) {
  struct stat info {};
  locked = Descriptor();
  if (outputRoot().isShared && (name == kScratch || name == kSystemInfo)) return true;
  if (lookUp(folder, name.c_str(), info) || (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode))) return false;
  locked = Descriptor(openat(folder, name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
  return locked ? flock(locked.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK : info.st_uid != geteuid();
}

[[noreturn]] void fail(const char* what, const std::string& path, const std::error_code& ec) {
  throw fs::filesystem_error(what, path, {ec.value(), boost::system::system_category()});
}

/// Tells whether the folder has the sticky bit, or something is mounted in it. Throws when that cannot be told.
bool isForOthersToo(int folder, const std::string& path) {
  struct stat info {};
  boost::system::error_code ec;
  const std::string start = fs::canonical(path, ec).string() + "/";
  if (ec) fail("cannot look at it", path, ec);
  const std::vector<std::string> mounted = platform::mountPoints();
  return fstat(folder, &info) != 0 || (info.st_mode & S_ISVTX) != 0 ||
         std::any_of(mounted.begin(), mounted.end(),
                     [&start](const std::string& point) { return boost::algorithm::starts_with(point, start); });
}

using Paths = std::vector<std::string>;

/// As cleanDir, but only what `mayGo` allows. @return the paths of what was removed
Paths removeEntries(const std::string& dir, const std::function<bool(const std::string& path)>& mayGo) {
  Paths removed;
  const auto remove = [&](const std::string& path) {
    std::error_code ec;
    if (mayGo(path) && helper::ensureRemove(path, ec)) removed.push_back(path);
  };
  const auto removeFile = [&remove](const std::string& path) {
    struct stat info {};
    const bool isFile = !lookUp(path, Links::kOwn, info) && S_ISREG(info.st_mode);
    if (isFile && !isArchive(path)) remove(path);
  };
  helper::directoryWalker(dir, {}, remove, removeFile, helper::Depth::kFolder);
  return removed;
}

/// Removes the oldest archives. Throws fs::filesystem_error, before it removes one when they cannot all be looked at.
void removeOldest(int folder, const std::string& dir, bool onlyOwn, Paths& removed) {
  std::multimap<std::time_t, std::string> byTime;
  const std::error_code listed = forEachEntry(folder, [&](EntryKind, const char* name) {
    struct stat info {};
    if (!isArchive(name) || (onlyOwn && !isOwnName(name))) return;
    if (const std::error_code ec = lookUp(folder, name, info)) fail("cannot look at it", dir + "/" + name, ec);
    if (S_ISREG(info.st_mode)) byTime.emplace(info.st_mtime, name);
  });
  if (listed == std::errc::permission_denied) return;  // was told when the folder was cleaned
  if (listed) fail("cannot list it", dir, listed);
  for (const auto& [time, name] : byTime) outputRoot().archives.insert(name);
  for (auto oldest = byTime.begin(); byTime.size() >= kMaxArchives; oldest = byTime.erase(oldest)) {
    const std::string path = dir + "/" + oldest->second;
    if (unlinkat(folder, oldest->second.c_str(), 0) != 0) fail("cannot remove it", path, lastError());
    removed.push_back(path);
  }
}

/// Makes the folder `name`, which nothing else has, in an open folder. @return the error of that
std::error_code makeNew(int parent, const std::string& name, Descriptor& folder) {
  std::error_code ec;
  if (mkdirat(parent, name.c_str(), 0755) != 0) return lastError();
  folder = openFolder(parent, name, ec);
  return ec;
}

/// Makes the usual scratch folder. What an earlier run has left at its name is removed, or moved aside.
std::error_code makeUsualScratch(const Root& root, Descriptor& folder) {
  const std::error_code ec = makeNew(root.folder, kScratch, folder);
  if (ec != std::errc::file_exists || !root.isLocked) return ec;
  const std::string aside = std::string(kScratch) + ".left-" + std::to_string(getpid());
  if (removeEntry(root.folder, kScratch)) renameat(root.folder, kScratch, root.folder, aside.c_str());
  return makeNew(root.folder, kScratch, folder);
}

/// Makes a folder of this run's own, whose name `name` receives, in the root, and the scratch folder in it.
std::error_code makeOwnScratch(const Root& root, const std::string& path, std::string& name, Descriptor& folder) {
  Descriptor own;
  std::error_code ec = std::make_error_code(std::errc::file_exists);
  for (int number = 0; number < kMaxNames && ec == std::errc::file_exists; ++number) {
    name = std::string(kScratch) + "." + std::to_string(getpid()) + (number == 0 ? "" : "-" + std::to_string(number));
    ec = makeNew(root.folder, name, own);
    // Another run that takes it for an abandoned one holds the lock while it removes it.
    const bool isTaken = !ec && flock(own.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    if (isTaken) ec = std::make_error_code(std::errc::file_exists);
  }
  if (!ec) ec = makeNew(own.get(), kScratch, folder);
  if (!ec) hold((fs::path(path) / name).string(), std::move(own));
  return ec;
}

}  // namespace

bool ensureLogRootDir(std::string& root, const std::string& executable) {
  // Checked twice: before a file there is replaced by a folder, and for the folder that is there then.
  if (!root.empty() && mayBeEmptied(root, executable) && takeRoot(root, Links::kAny) && mayBeEmptied(root, executable))
    return true;
  if (!takeRoot(kDefaultRoot, Links::kOwn)) {
    LOG_CALL(kErr, "ensureDirectoryExist {} failed.{}", kDefaultRoot, "");
    return false;
  }
  root = kDefaultRoot;
  return true;
}

bool checkDiskIsFull(const std::string& path) {
  boost::system::error_code notReported;
  return fs::space(path, notReported).available < kMinAvailableBytes;
}

void limitReports(const std::string& root) {
  boost::system::error_code notReported;
  // There are three reports; the copies and the archive need the rest.
  const std::uintmax_t share = fs::space(root, notReported).available / 8;
  logutils::macos::details::limitReports(std::min(kMaxReportBytes, share));
}

void cleanDir(const std::string& dir, bool removeItself) {
  removeEntries(dir, [](const std::string&) { return true; });
  if (removeItself) helper::ensureRemove(dir);
}

void checkAndCleanLogDir(const std::string& dir) {
  Paths removed;
  try {
    std::error_code ec;
    const Descriptor folder = openFolder(dir, Links::kOwn, ec);
    const bool onlyOwn = !ec && isForOthersToo(folder.get(), dir);
    Descriptor locked;  // until the next entry
    const auto mayGo = [&](const std::string& path) {
      const std::string name = fs::path(path).filename().string();
      return (!onlyOwn || isOwnName(name)) && !isInUse(folder.get(), name, locked);
    };
    removed = removeEntries(dir, mayGo);
    if (!ec) removeOldest(folder.get(), dir, onlyOwn, removed);
  } catch (const fs::filesystem_error& failure) {
    LOG_CALL(kWarn, "{}; Reason: file system error: {}", "delete file error", failure.what());
  }
  if (!removed.empty()) {
    LOG_CALL(kInfo, "{} entries of {} removed, such as {}", removed.size(), dir, removed.front());
  }
}

Scratch makeScratch(const std::string& root) {
  const Root& own = outputRoot();
  std::string name;
  Descriptor folder;
  std::error_code ec;
  if (!own.isShared) ec = makeUsualScratch(own, folder);
  if (own.isShared || ec == std::errc::file_exists) {
    ec = makeOwnScratch(own, root, name, folder);
    if (!ec) LOG_CALL_AS("main", kInfo, "{} is in use or cannot be removed, {} is used", kScratch, name);
  }
  const fs::path place = name.empty() ? fs::path(root) : fs::path(root) / name;
  const Scratch scratch{(place / kScratch).string(), (place / kSystemInfo).string()};
  const char* failed = "create_directories({}) return failed; Reason: Error code={}, msg={}";
  if (!ec && fchmod(folder.get(), 0777) != 0) {
    ec = lastError();
    failed = "permissions all_all({}) return failed; Reason: Error code={}, msg={}";
  }
  if (ec) LOG_CALL_AS("main", kWarn, failed, scratch.logFiles, ec.value(), ec.message());
  if (folder) hold(scratch.logFiles, std::move(folder));
  return scratch;
}

void removeScratch(const std::string& root, const Scratch& scratch, const std::string& unfinished) {
  cleanDir(scratch.logFiles, true);
  if (!unfinished.empty()) helper::ensureRemove(unfinished + zipper::kPartialSuffix);
  helper::ensureRemove(scratch.systemInfo);
  const fs::path place = fs::path(scratch.logFiles).parent_path();
  if (place != root) helper::ensureRemove(place);

  const int folder = outputRoot().folder;
  forEachEntry(folder, [&](EntryKind, const std::string& name) {
    Descriptor locked;
    if (isArchive(name) || !isOwnName(name) || isInUse(folder, name, locked)) return;
    LOG_CALL_AS("main", kWarn, "{} stays in the output folder", (fs::path(root) / name).string());
  });
}

bool isOwnArchive(const std::string& name) {
  return !outputRoot().isShared && outputRoot().archives.count(name) != 0;
}

}  // namespace quelmar

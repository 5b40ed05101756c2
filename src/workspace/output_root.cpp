#include "workspace/output_root.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <set>
#include <utility>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

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

/// What the run has found out about the output root.
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

/// Opens the folder at `path`, which is made when it is missing, holds and locks it. @return whether it is there
bool takeRoot(const std::string& path, Links links) {
  std::error_code ec;
  if (!utilities::ensureDirectoryExist(path, ec, links)) return false;
  Descriptor folder = openFolder(path, links, ec);
  if (ec) return false;
  Root root;
  root.isLocked = flock(folder.get(), LOCK_EX | LOCK_NB) == 0;
  root.isShared = !root.isLocked && errno == EWOULDBLOCK;
  root.folder = hold(path, std::move(folder));
  outputRoot() = root;
  return true;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool isArchive(const std::string& path) {
  return logutils::isAcceptViaExtName(path, {".zip"});
}

/// Tells whether the tool gives entries of an output root names like this one.
bool isOwnName(const std::string& name) {
  const auto begins = [&name](const std::string& start) { return name.compare(0, start.size(), start) == 0; };
  const bool isScratch = name == kScratch || begins(kScratch + std::string("."));
  const bool isUnfinished = endsWith(name, std::string(".zip") + zipper::kPartialSuffix);
  return isScratch || name == kSystemInfo || (begins(kArchivePrefix) && (isArchive(name) || isUnfinished));
}

/// Tells whether the run that has locked the output root uses the entry `name` there.
bool isOtherRuns(const std::string& name) {
  return outputRoot().isShared && (name == kScratch || name == kSystemInfo);
}

/// Locks an entry that a run may be using, for as long as the result lives.
/// @param isInUse  set to true when another run has locked it, or that cannot be found out
Descriptor lockEntry(int folder, const std::string& name, bool& isInUse) {
  struct stat info {};
  isInUse = false;
  if (lookUp(folder, name.c_str(), info)) return Descriptor();
  if (!S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode)) return Descriptor();
  Descriptor entry(openat(folder, name.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
  isInUse = entry ? flock(entry.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK : info.st_uid != geteuid();
  return entry;
}

[[noreturn]] void fail(const char* what, const std::string& path, const std::error_code& ec) {
  throw fs::filesystem_error(what, path, {ec.value(), boost::system::system_category()});
}

/// Tells whether only entries with the tool's own names may be removed from the folder: it has the sticky bit, or
/// something is mounted in it. Throws when that cannot be told.
bool isForOthersToo(int folder, const std::string& path) {
  struct stat info {};
  boost::system::error_code ec;
  const std::string start = fs::canonical(path, ec).string() + "/";
  if (ec) fail("cannot look at it", path, ec);
  const std::vector<std::string> mounted = platform::mountPoints();
  return fstat(folder, &info) != 0 || (info.st_mode & S_ISVTX) != 0 ||
         std::any_of(mounted.begin(), mounted.end(),
                     [&start](const std::string& point) { return point.compare(0, start.size(), start) == 0; });
}

struct DatedFile {
  std::string name;
  std::time_t time;
};

std::vector<DatedFile> archives(int folder, const std::string& dir, bool onlyOwn) {
  std::vector<DatedFile> files;
  std::string entries;
  if (const std::error_code ec = listFolder(folder, entries)) fail("cannot list it", dir, ec);
  forEachEntry(entries, [&](EntryKind, const char* name) {
    struct stat info {};
    if (!isArchive(name) || (onlyOwn && !isOwnName(name))) return;
    if (const std::error_code ec = lookUp(folder, name, info)) fail("cannot look at it", dir + "/" + name, ec);
    if (S_ISREG(info.st_mode)) files.push_back({name, info.st_mtime});
  });
  return files;
}

void removeOldest(int folder, const std::string& dir, bool onlyOwn, Removed& removed) {
  std::vector<DatedFile> files = archives(folder, dir, onlyOwn);
  for (const DatedFile& file : files) outputRoot().archives.insert(file.name);
  if (files.size() < kMaxArchives) return;
  std::sort(files.begin(), files.end(),
            [](const DatedFile& one, const DatedFile& other) { return one.time < other.time; });
  files.resize(files.size() - (kMaxArchives - 1));
  for (const DatedFile& file : files) {
    if (unlinkat(folder, file.name.c_str(), 0) != 0) fail("cannot remove it", dir + "/" + file.name, lastError());
    removed.add(dir + "/" + file.name);
  }
}

/// Makes the folder `name`, which nothing else has, in the output root. @return the error of that
std::error_code makeNew(int root, const std::string& name, Descriptor& folder) {
  std::error_code ec;
  if (mkdirat(root, name.c_str(), 0755) != 0) ec = lastError();
  if (!ec) folder = openFolder(root, name, ec);
  return ec;
}

/// Makes the usual scratch folder. What an earlier run has left at its name is removed, or moved aside.
std::error_code makeUsualScratch(const Root& root, Descriptor& folder) {
  std::error_code ec = makeNew(root.folder, kScratch, folder);
  if (ec != std::errc::file_exists || !root.isLocked) return ec;
  const std::string aside = std::string(kScratch) + ".left-" + std::to_string(getpid());
  if (removeEntry(root.folder, kScratch)) renameat(root.folder, kScratch, root.folder, aside.c_str());
  return makeNew(root.folder, kScratch, folder);
}

/// Makes a folder of this run's own in the root, and the scratch folder in it.
/// @param name  receives its name
std::error_code makeOwnScratch(const Root& root, const std::string& path, std::string& name, Descriptor& folder) {
  Descriptor own;
  std::error_code ec = std::make_error_code(std::errc::file_exists);
  bool isInUse = false;
  for (int number = 0; number < kMaxNames && (ec == std::errc::file_exists || isInUse); ++number) {
    name = std::string(kScratch) + "." + std::to_string(getpid()) + (number == 0 ? "" : "-" + std::to_string(number));
    ec = makeNew(root.folder, name, own);
    // Another run that takes it for an abandoned one holds the lock while it removes it.
    isInUse = !ec && flock(own.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  }
  if (!ec && isInUse) ec = std::make_error_code(std::errc::file_exists);
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

Removed cleanDir(const std::string& dir, bool removeItself, const MayGo& mayGo) {
  Removed removed;
  const auto remove = [&](const std::string& path) {
    std::error_code ec;
    if ((!mayGo || mayGo(path)) && helper::ensureRemove(path, ec)) removed.add(path);
  };
  const auto removeFile = [&remove](const std::string& path) {
    struct stat info {};
    const bool isFile = !lookUp(path, Links::kOwn, info) && S_ISREG(info.st_mode);
    if (isFile && !isArchive(path)) remove(path);
  };
  helper::directoryWalker(dir, {}, remove, removeFile, helper::Depth::kFolder);
  if (removeItself) helper::ensureRemove(dir);
  return removed;
}

void checkAndCleanLogDir(const std::string& dir) {
  Removed removed;
  try {
    std::error_code ec;
    std::string entries;
    const Descriptor folder = openFolder(dir, Links::kOwn, ec);
    const bool onlyOwn = !ec && isForOthersToo(folder.get(), dir);
    Descriptor locked;  // until the next entry
    removed = cleanDir(dir, false, [&](const std::string& path) {
      const std::string name = fs::path(path).filename().string();
      if ((onlyOwn && !isOwnName(name)) || isOtherRuns(name)) return false;
      bool isInUse = false;
      locked = lockEntry(folder.get(), name, isInUse);
      return !isInUse;
    });
    // What must not be listed was told above.
    if (!ec && listFolder(folder.get(), entries) != std::errc::permission_denied)
      removeOldest(folder.get(), dir, onlyOwn, removed);
  } catch (const fs::filesystem_error& failure) {
    LOG_CALL(kWarn, "{}; Reason: file system error: {}", "delete file error", failure.what());
  }
  if (removed.count > 0) LOG_CALL(kInfo, "{} entries of {} removed, such as {}", removed.count, dir, removed.first);
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
  if (ec) {
    LOG_CALL_AS("main", kWarn, "create_directories({}) return failed; Reason: Error code={}, msg={}", scratch.logFiles,
                ec.value(), ec.message());
    return scratch;
  }
  if (fchmod(folder.get(), 0777) != 0) {
    ec = lastError();
    LOG_CALL_AS("main", kWarn, "permissions all_all({}) return failed; Reason: Error code={}, msg={}", scratch.logFiles,
                ec.value(), ec.message());
  }
  hold(scratch.logFiles, std::move(folder));
  return scratch;
}

void removeScratch(const std::string& root, const Scratch& scratch, const std::string& unfinished) {
  cleanDir(scratch.logFiles, true);
  std::error_code ignored;
  if (!unfinished.empty()) helper::ensureRemove(unfinished + zipper::kPartialSuffix, ignored);
  helper::ensureRemove(scratch.systemInfo, ignored);
  const fs::path place = fs::path(scratch.logFiles).parent_path();
  if (place != root) helper::ensureRemove(place, ignored);

  std::string entries;
  const int folder = outputRoot().folder;
  listFolder(folder, entries);
  forEachEntry(entries, [&](EntryKind, const std::string& name) {
    bool isInUse = false;
    if (isArchive(name) || !isOwnName(name) || isOtherRuns(name)) return;
    const Descriptor locked = lockEntry(folder, name, isInUse);
    if (!isInUse) LOG_CALL_AS("main", kWarn, "{} stays in the output folder", (fs::path(root) / name).string());
  });
}

bool isOwnArchive(const std::string& name) {
  return !outputRoot().isShared && outputRoot().archives.count(name) != 0;
}

}  // namespace quelmar

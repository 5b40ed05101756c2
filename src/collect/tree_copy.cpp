#include "collect/tree_copy.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <new>
#include <string>
#include <utility>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/descriptor.h"
#include "base/directories.h"
#include "base/directory.h"
#include "base/regular_file.h"
#include "collect/file_system.h"
#include "logging/losses.h"

namespace fs = boost::filesystem;

namespace quelmar::helper {
namespace {

using utilities::Descriptor;
using utilities::Directory;
using utilities::EntryKind;
using utilities::lastError;
using utilities::Links;
using utilities::Overwrite;

constexpr std::uintmax_t kKeptFreeBytes = 104'857'600;  // 100 MiB
constexpr std::uintmax_t kAskAfterBytes = 16'777'216;   // 16 MiB
constexpr std::uintmax_t kBlockBytes = 4096;            // what the smallest file takes on most volumes
constexpr std::size_t kLevelsLeftOpen = 8;
constexpr const char* kMissingSource = "Source directory {} not exist.; Reason: code:{} msg:{}";
constexpr const char* kNotRemoved = "remove {} fail.; Reason: code:{} msg:{}";
constexpr const char* kNotMade = "Unable to create destination directory {} .; Reason: code:{} msg:{}";
constexpr const char* kCopyFailed = "copy {} to {} failed.; Reason: code:{} msg:{}";
constexpr const char* kUnreadable = "read directory {} failed.; Reason: code:{} msg:{}";

std::atomic<std::uintmax_t> largestCopy{0};

/// Keeps account of the free space on a folder's volume, asking the system again after every 16 MiB copied.
class Room {
 public:
  explicit Room(fs::path folder) : folder_(std::move(folder)) {}

  /// Tells whether a file of `size` bytes may be copied, and counts it if so. True when the free space is
  /// unknown.
  bool take(std::uintmax_t size) {
    if (taken_ >= kAskAfterBytes || !fits(size)) ask();
    if (!fits(size)) return false;
    const std::uintmax_t blocks = size + kBlockBytes;
    taken_ += blocks;
    free_ -= std::min(free_, blocks);
    largestCopy = std::max<std::uintmax_t>(largestCopy, size);
    return true;
  }

 private:
  [[nodiscard]] bool fits(std::uintmax_t size) const {
    const std::uintmax_t largest = std::max<std::uintmax_t>(largestCopy, size);
    return free_ >= kKeptFreeBytes && free_ - kKeptFreeBytes >= size &&
           free_ - kKeptFreeBytes - size >= largest;
  }

  void ask() {
    boost::system::error_code ec;
    free_ = fs::space(folder_, ec).available;  // the largest number after an error
    taken_ = 0;
  }

  fs::path folder_;
  std::uintmax_t free_ = 0;
  std::uintmax_t taken_ = 0;
};

/// An open folder with its identity, by which it is recognised when it is opened again.
struct Folder {
  Descriptor open;
  dev_t device = 0;
  ino_t number = 0;

  [[nodiscard]] bool is(const Folder& other) const {
    return device == other.device && number == other.number;
  }
};

Folder openFolder(int parent, const char* name, std::error_code& ec) {
  ec.clear();
  struct stat info {};
  Folder folder{Descriptor(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC))};
  if (!folder.open || fstat(folder.open.get(), &info) != 0) ec = lastError();
  folder.device = info.st_dev;
  folder.number = info.st_ino;
  return folder;
}

/// Tells whether opening a folder failed because the entry, or one above it, is not a folder.
bool isNoFolder(const std::error_code& ec) {
  return ec == std::errc::not_a_directory || ec == std::errc::too_many_symbolic_link_levels;
}

/// Opens again a folder that was closed while the walk was in `child`: as its "..", or else by its path.
std::error_code reopen(Folder& folder, const Folder& child, const std::string& path) {
  std::error_code ec;
  for (const auto& [parent, name] : {std::pair{child.open.get(), ".."}, std::pair{AT_FDCWD, path.c_str()}}) {
    if (folder.open) break;
    Folder found = openFolder(parent, name, ec);
    if (!ec && found.is(folder)) folder.open = std::move(found.open);
    // When another folder is there now, this one is gone.
    if (!ec && !folder.open) ec = std::make_error_code(std::errc::no_such_file_or_directory);
  }
  return folder.open ? std::error_code() : ec;
}

/// Tells whether an error of opening a file is not logged: the file has gone, may not be read, or is not a
/// regular file. All that happens on healthy machines.
bool isIgnorable(const std::error_code& ec) {
  return ec == std::errc::permission_denied || ec == std::errc::no_such_file_or_directory ||
         ec == std::errc::not_supported;
}

enum class Depth { kFolder, kTree };

/// Copies the files of a folder, or the tree below it.
class TreeCopy {
 public:
  TreeCopy(const char* function, const fs::path& source, const fs::path& target, const FileFilter& filter,
           Overwrite overwrite, Depth depth)
      : source_(source.string()),
        target_(target.string()),
        filter_(filter),
        overwrite_(overwrite),
        depth_(depth),
        room_(target),
        losses_(function, source_) {}

  std::error_code run() {
    std::error_code ec;
    Folder source = openFolder(AT_FDCWD, source_.c_str(), ec);
    if (ec) return tellFolder(kUnreadable, source_, ec);
    Folder target = openFolder(AT_FDCWD, target_.c_str(), ec);
    if (ec) return tellFolder(kUnreadable, target_, ec);
    ec = begin(std::move(source), std::move(target));
    while (!levels_.empty()) step();
    return ec;
  }

 private:
  /// A folder that has been listed and whose entries are being copied.
  struct Level {
    Folder source;
    Folder target;
    std::size_t sourceLength;  // lengths of its two paths
    std::size_t targetLength;
    std::string entries;
    std::size_t next = 0;
  };

  std::error_code tellFolder(const char* format, const std::string& path, const std::error_code& ec) {
    losses_.tell(kWarn, ec, format, path);
    return ec;
  }

  /// Lists the folder whose paths are in source_ and target_, and continues the walk in it.
  std::error_code begin(Folder source, Folder target) {
    std::error_code ec;
    std::string entries;
    Directory directory(source.open.get(), ".", Links::kNone, ec);
    if (!ec) ec = directory.list(entries);
    if (ec) tellFolder(kUnreadable, source_, ec);
    levels_.push_back(
        {std::move(source), std::move(target), source_.size(), target_.size(), std::move(entries)});
    if (levels_.size() > kLevelsLeftOpen) {
      Level& outer = levels_[levels_.size() - 2];
      outer.source.open = Descriptor();
      outer.target.open = Descriptor();
    }
    return ec;
  }

  void step() {
    Level& level = levels_.back();
    source_.resize(level.sourceLength);
    target_.resize(level.targetLength);
    if (level.next == level.entries.size()) return leave();
    const auto kind = static_cast<EntryKind>(level.entries[level.next]);
    const char* const name = level.entries.c_str() + level.next + 1;
    level.next += std::strlen(name) + 2;
    try {
      source_.append("/").append(name);
      handle(level, kind, name);
    } catch (const std::bad_alloc&) {
      losses_.tell(kWarn, std::make_error_code(std::errc::not_enough_memory), kCopyFailed, source_, target_);
    }
  }

  void handle(const Level& level, EntryKind kind, const char* name) {
    if (depth_ == Depth::kTree && (kind == EntryKind::kDirectory || kind == EntryKind::kUnknown)) {
      std::error_code ec;
      Folder source = openFolder(level.source.open.get(), name, ec);
      if (!ec) return enter(level, name, std::move(source));
      if (kind == EntryKind::kDirectory || !isNoFolder(ec)) {
        const bool hasGone = isNoFolder(ec) || ec == std::errc::no_such_file_or_directory;
        tellFolder(hasGone ? kMissingSource : kUnreadable, source_, ec);
        return;
      }
    }
    if (kind == EntryKind::kDirectory || (filter_ && !filter_(source_))) return;
    const std::error_code ec = copy(level, kind, name);
    if (ec) losses_.tell(kWarn, ec, kCopyFailed, source_, target_);
  }

  /// @return the error to log when the file at source_ was not copied, or not to its end
  std::error_code copy(const Level& level, EntryKind kind, const char* name) {
    if (kind == EntryKind::kOther) return {};
    std::error_code ec;
    struct stat info {};
    const int folder = level.source.open.get();
    Descriptor file;
    if (kind == EntryKind::kFile) file = utilities::openListed(folder, name, info, ec);
    if (kind != EntryKind::kFile || isNoFolder(ec)) {
      file = utilities::openRegular(folder, name, Links::kAny, info, ec);
    }
    const bool leadsNowhere = kind == EntryKind::kLink && isNoFolder(ec);
    if (ec) return isIgnorable(ec) || leadsNowhere ? std::error_code() : ec;
    if (isTooLong(name)) return std::make_error_code(std::errc::filename_too_long);
    if (!room_.take(static_cast<std::uintmax_t>(info.st_size))) {
      return std::make_error_code(std::errc::no_space_on_device);
    }
    ec = utilities::copyOpened(file, info, level.target.open.get(), name, overwrite_, buffer_);
    return overwrite_ == Overwrite::kNo && ec == std::errc::file_exists ? std::error_code() : ec;
  }

  /// Tells whether the copy's path would be longer than the system accepts.
  [[nodiscard]] bool isTooLong(const char* name) const {
    return target_.size() + 1 + std::strlen(name) >= PATH_MAX;
  }

  void enter(const Level& level, const char* name, Folder source) {
    if (source.is(levels_.front().target)) return;
    std::error_code ec;
    if (isTooLong(name)) {
      ec = std::make_error_code(std::errc::filename_too_long);
      losses_.tell(kWarn, ec, kCopyFailed, source_, target_);
      return;
    }
    target_.append("/").append(name);
    Folder target = makeTarget(level.target.open.get(), name, ec);
    if (!ec) begin(std::move(source), std::move(target));
  }

  /// Makes and opens the folder at target_; anything else that stands there is removed. A failure is logged.
  Folder makeTarget(int parent, const char* name, std::error_code& ec) {
    for (const bool isFirst : {true, false}) {
      ec.clear();
      if (mkdirat(parent, name, 0777) != 0 && errno != EEXIST) ec = lastError();
      if (ec) break;
      Folder folder = openFolder(parent, name, ec);
      if (!ec) return folder;
      if (!isFirst || !isNoFolder(ec)) break;
      if (!ensureRemove(target_, ec)) {
        losses_.tell(kErr, ec, kNotRemoved, target_);
        return Folder();
      }
    }
    losses_.tell(kErr, ec, kNotMade, target_);
    return Folder();
  }

  void leave() {
    const Level child = std::move(levels_.back());
    levels_.pop_back();
    if (levels_.empty()) return;
    Level& level = levels_.back();
    source_.resize(level.sourceLength);
    target_.resize(level.targetLength);
    std::error_code ec = reopen(level.source, child.source, source_);
    if (!ec) ec = reopen(level.target, child.target, target_);
    if (!ec || level.next == level.entries.size()) return;
    tellFolder(kUnreadable, source_, ec);
    level.next = level.entries.size();
  }

  std::string source_;  // the path of the current entry
  std::string target_;  // the path of the folder that its copy goes to
  const FileFilter& filter_;
  Overwrite overwrite_;
  Depth depth_;
  Room room_;
  Losses losses_;
  utilities::CopyBuffer buffer_;
  std::deque<Level> levels_;  // a deque does not move its elements: step() holds a pointer into one
};

/// Checks the source and makes the destination for copyDir and copyFile2Dir; logs failures under `function`.
std::error_code prepareCopy(const char* function, LogLevel missingSourceLevel, const fs::path& src,
                            const fs::path& dst) {
  struct stat info {};
  // A link to a directory does not count as one, not even as the source itself: it may lead to "/".
  std::error_code ec = utilities::lookUp(AT_FDCWD, src.c_str(), Links::kNone, info);
  if (!ec && !S_ISDIR(info.st_mode)) ec = std::make_error_code(std::errc::not_a_directory);
  if (ec) {
    LOG_CALL_AS(function, missingSourceLevel, kMissingSource, src.string(), ec.value(), ec.message());
    return ec;
  }
  ec = utilities::lookUp(AT_FDCWD, dst.c_str(), Links::kNone, info);
  if (!ec && !S_ISDIR(info.st_mode) && !ensureRemove(dst, ec)) {
    LOG_CALL_AS(function, kErr, kNotRemoved, dst.string(), ec.value(), ec.message());
    return ec;
  }
  ec = utilities::claimDirectory(dst, Links::kNone);
  if (ec) LOG_CALL_AS(function, kErr, kNotMade, dst.string(), ec.value(), ec.message());
  return ec;
}

}  // namespace

std::error_code copyDir(const fs::path& src, const fs::path& dst, const FileFilter& filter) {
  const std::error_code ec = prepareCopy(__func__, kWarn, src, dst);
  return ec ? ec : TreeCopy(__func__, src, dst, filter, Overwrite::kNo, Depth::kTree).run();
}

bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter,
                  bool /*flag*/) {
  if (prepareCopy(__func__, kErr, sourceDir, destDir)) return false;
  TreeCopy(__func__, sourceDir, destDir, filter, Overwrite::kYes, Depth::kFolder).run();
  return true;
}

std::error_code copyOneFile(const fs::path& source, const fs::path& target, bool& worthLogging) {
  std::error_code ec;
  struct stat info {};
  const Descriptor file = utilities::openRegular(AT_FDCWD, source.c_str(), Links::kAny, info, ec);
  worthLogging = !isIgnorable(ec);
  if (ec) return ec;
  if (!Room(target.parent_path()).take(static_cast<std::uintmax_t>(info.st_size))) {
    return std::make_error_code(std::errc::no_space_on_device);
  }
  utilities::CopyBuffer buffer;
  return utilities::copyOpened(file, info, AT_FDCWD, target.c_str(), Overwrite::kYes, buffer);
}

}  // namespace quelmar::helper

#include "collect/tree_copy.h"

#include <algorithm>
#include <atomic>
#include <climits>
#include <new>

#include <sys/statvfs.h>

#include "base/files.h"
#include "base/threads.h"
#include "base/tree_walk.h"
#include "logging/logger.h"

namespace quelmar::helper {
namespace {

constexpr std::uintmax_t kKeptFreeBytes = 104'857'600;  // 100 MiB
constexpr const char* kMissingSource = "Source directory {} not exist.; Reason: code:{} msg:{}";
constexpr const char* kNotRemoved = "remove {} fail.; Reason: code:{} msg:{}";
constexpr const char* kNotMade = "Unable to create destination directory {} .; Reason: code:{} msg:{}";
constexpr const char* kCopyFailed = "copy {} to {} failed.; Reason: code:{} msg:{}";
constexpr const char* kUnreadable = "read directory {} failed.; Reason: code:{} msg:{}";

std::atomic<std::uintmax_t> largestCopy{0};

/// Tells whether the volume of a folder has room for a file of `size` bytes, and for packing it, or does not tell.
bool hasRoom(int folder, std::uintmax_t size) {
  struct statvfs space {};
  if (fstatvfs(folder, &space) != 0) return true;
  const std::uintmax_t free = std::uintmax_t{space.f_bavail} * space.f_frsize;
  const std::uintmax_t largest = std::max<std::uintmax_t>(largestCopy, size);
  const bool fits = free >= kKeptFreeBytes && free - kKeptFreeBytes >= size && free - kKeptFreeBytes - size >= largest;
  if (fits) largestCopy = largest;
  return fits;
}

std::error_code copyInto(const Descriptor& source, const struct stat& info, int folder, const char* name,
                         Overwrite overwrite) {
  if (!hasRoom(folder, static_cast<std::uintmax_t>(info.st_size))) {
    return std::make_error_code(std::errc::no_space_on_device);
  }
  return copyOpened(source, info, folder, name, overwrite);
}

/// Tells whether another user may have made this link to a file of somebody else, to get a copy of it.
bool mayBeBorrowed(const struct stat& file, const struct stat& folder) {
  const bool isSecret = (file.st_mode & S_IROTH) == 0;
  const bool mayBeLinked = folder.st_uid != file.st_uid || (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return file.st_nlink > 1 && isSecret && mayBeLinked;
}

/// Copies the files of a folder, or the tree below it.
class TreeCopy {
 public:
  TreeCopy(const char* function, const std::string& source, const std::string& target, const FileFilter& filter,
           Depth depth, Folder from, Folder to)
      : source_(source),
        target_(target),
        filter_(filter),
        depth_(depth),
        losses_(function, source_),
        targets_(std::move(to)),
        walk_(std::move(from), source_, [this](const std::string& path, const std::error_code& ec) {
          losses_.tell(kWarn, ec, kUnreadable, path);
        }) {}

  void run() {
    while (walk_.next()) {
      beat();
      try {
        handle();
      } catch (const std::bad_alloc&) {
        losses_.tell(kWarn, std::make_error_code(std::errc::not_enough_memory), kCopyFailed, walk_.path(), target_);
      }
    }
  }

 private:
  [[nodiscard]] std::string targetFolder() const { return target_ + targets_.path(); }

  void tellLost(const std::error_code& ec) { losses_.tell(kWarn, ec, kCopyFailed, walk_.path(), targetFolder()); }

  void handle() {
    const EntryKind kind = walk_.kind();
    if (walk_.hasLeft()) return leave();
    if (targets_.last() < 0) return;  // was told when it could not be opened again
    if (depth_ == Depth::kTree && (kind == EntryKind::kDirectory || kind == EntryKind::kUnknown)) {
      std::error_code ec;
      Folder source = walk_.open(ec);
      if (!ec) return enter(std::move(source));
      if (kind == EntryKind::kDirectory || !isNoFolder(ec)) {
        const bool hasGone = isNoFolder(ec) || ec == std::errc::no_such_file_or_directory;
        losses_.tell(kWarn, ec, hasGone ? kMissingSource : kUnreadable, walk_.path());
        return;
      }
    }
    if (kind == EntryKind::kDirectory || (filter_ && !filter_(walk_.path()))) return;
    if (const std::error_code ec = copy(kind)) tellLost(ec);
  }

  /// @return the error to log when the current file was not copied, or not to its end
  [[nodiscard]] std::error_code copy(EntryKind kind) const {
    std::error_code ec;
    struct stat info {};
    const bool isListed = kind == EntryKind::kFile;
    const Descriptor file = openRegular(walk_.folder(), walk_.name(), Links::kJudged, info, ec, isListed);
    const bool leadsNowhere = kind == EntryKind::kLink && isNoFolder(ec);
    if (ec) return isUsualLoss(ec) || leadsNowhere ? std::error_code() : ec;
    if (kind != EntryKind::kLink && mayBeBorrowed(info, walk_.folders().info())) {
      return std::make_error_code(std::errc::operation_not_permitted);
    }
    if (isTooLong()) return std::make_error_code(std::errc::filename_too_long);
    const Overwrite overwrite = depth_ == Depth::kTree ? Overwrite::kNo : Overwrite::kYes;
    ec = copyInto(file, info, targets_.last(), walk_.name(), overwrite);
    if (overwrite == Overwrite::kYes || ec != std::errc::file_exists) return ec;
    // An earlier copy stays; what somebody else has put there does not take this one's place.
    return isOwnCopy() ? std::error_code() : copyInto(file, info, targets_.last(), walk_.name(), Overwrite::kYes);
  }

  [[nodiscard]] bool isOwnCopy() const {
    struct stat there {};
    return !lookUp(targets_.last(), walk_.name(), there) && S_ISREG(there.st_mode) && there.st_nlink == 1 &&
           there.st_uid == targets_.info().st_uid;
  }

  [[nodiscard]] bool isTooLong() const { return target_.size() + walk_.path().size() - source_.size() >= PATH_MAX; }

  void enter(Folder source) {
    if (source.is(targets_.top())) return;
    if (isTooLong()) return tellLost(std::make_error_code(std::errc::filename_too_long));
    std::error_code ec;
    Folder target(makeFolder(targets_.last(), walk_.name(), ec));
    if (ec) {
      losses_.tell(kErr, ec, kNotMade, targetFolder() + "/" + walk_.name());
      return;
    }
    targets_.enter(std::move(target), walk_.name());
    walk_.enter(std::move(source));
  }

  void leave() {
    if (const std::error_code ec = targets_.leave()) losses_.tell(kWarn, ec, kUnreadable, targetFolder());
  }

  const std::string source_;
  const std::string target_;
  const FileFilter& filter_;
  const Depth depth_;
  Losses losses_;
  FolderChain targets_;
  TreeWalk walk_;
};

/// Copies for copyDir and copyFile2Dir; all records are of `function`.
/// @return why the source could not be opened or the destination could not be made
std::error_code copy(const char* function, LogLevel missingSourceLevel, const std::string& src, const std::string& dst,
                     const FileFilter& filter, Depth depth) {
  std::error_code ec;
  // A link to a directory does not count as one, not even as the source itself: it may lead to "/".
  const Place place = locate(src, Links::kJudged, ec);
  Folder source(ec ? Descriptor() : openFolder(place.folder.get(), place.name, ec));
  if (ec) {
    const bool isThere = place.folder && ec != std::errc::no_such_file_or_directory && !isNoFolder(ec);
    LOG_CALL_AS(function, missingSourceLevel, isThere ? kUnreadable : kMissingSource, src, ec.value(), ec.message());
    return ec;
  }
  Folder target(makeFolder(dst, Links::kOwn, ec));
  if (ec) {
    struct stat info {};
    const bool stands = !lookUp(dst, Links::kOwn, info);
    LOG_CALL_AS(function, kErr, stands ? kNotRemoved : kNotMade, dst, ec.value(), ec.message());
    return ec;
  }
  TreeCopy(function, src, dst, filter, depth, std::move(source), std::move(target)).run();
  return {};
}

}  // namespace

bool isUsualLoss(const std::error_code& ec) {
  return ec == std::errc::permission_denied || ec == std::errc::no_such_file_or_directory ||
         ec == std::errc::not_supported;
}

std::error_code copyDir(const fs::path& src, const fs::path& dst, const FileFilter& filter) {
  return copy(__func__, kWarn, src.string(), dst.string(), filter, Depth::kTree);
}

bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter, bool /*flag*/) {
  return !copy(__func__, kErr, sourceDir, destDir, filter, Depth::kFolder);
}

std::error_code copyOneFile(const fs::path& source, const fs::path& target) {
  std::error_code ec;
  struct stat info {};
  const Descriptor file = openRegular(source.string(), Links::kJudged, info, ec);
  if (ec) return ec;
  const Place place = locate(target.string(), Links::kOwn, ec);
  return ec ? ec : copyInto(file, info, place.folder.get(), place.name.c_str(), Overwrite::kYes);
}

}  // namespace quelmar::helper

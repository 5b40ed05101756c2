#pragma once

#include <cerrno>
#include <functional>
#include <string>
#include <system_error>
#include <utility>

#include <boost/filesystem/path.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace quelmar {

namespace fs = boost::filesystem;

inline std::error_code lastError() {
  return {errno, std::generic_category()};
}

/// Tells whether both are the status of one file or folder.
inline bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Owns a file descriptor and closes it; -1 when there is none.
class Descriptor {
 public:
  explicit Descriptor(int fd = -1) : fd_(fd) {}
  Descriptor(Descriptor&& other) noexcept : fd_(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  [[nodiscard]] int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }
  /// Hands the descriptor to the caller, who closes it.
  int release() noexcept { return std::exchange(fd_, -1); }
  /// Closes now, since some file systems report write errors only then. @return false with errno set.
  bool closeNow() { return close(release()) == 0; }

 private:
  int fd_;
};

/// Which symbolic links are followed: with kOwn those that root or the calling user owns, with kJudged also those whose
/// owner owns what they lead to.
enum class Links { kNone, kOwn, kJudged, kAny };

/// The mode of a new folder: kUsual is 0755 less the umask, kAll is 0777 whatever the umask is.
enum class Access { kUsual, kAll };

// These functions clear `ec` and set it when they fail: to EPERM for a link that must not be followed. `parent` is an
// open folder; `links` holds for every component of a path, but below a held folder no link is followed.

/// Keeps an open folder until the process ends. From now on everything at `path` or below is looked for from there,
/// whatever has the name meanwhile. Requires: no other threads run yet. @return the descriptor
int hold(const std::string& path, Descriptor folder);

/// Tells whether opening a folder failed because the entry is none, or a link that is not followed.
bool isNoFolder(const std::error_code& ec);

/// Opens a folder by its name or a path ("a/b"). No link is followed. One that may not be listed is opened for passing
/// through, where the system can.
Descriptor openFolder(int parent, const std::string& name, std::error_code& ec);

/// Opens the folder at `path`; empty is the current one.
Descriptor openFolder(const std::string& path, Links links, std::error_code& ec);

/// Opens the folder at `path`, and makes it and those above it when they are missing. What stands there and is no
/// folder is removed, but for a link when `links` is kAny. Below a held folder the next function does each step.
/// @param access  of the last folder when it is made; those above get kUsual
Descriptor makeFolder(const std::string& path, Links links, std::error_code& ec, Access access = Access::kUsual);

/// Opens or makes a folder in one of this run's own. What stands there and is no folder, or another user's, is removed.
Descriptor makeFolder(int parent, const std::string& name, std::error_code& ec, Access access = Access::kUsual);

/// Opens a regular file for reading. Never blocks, and opens no device.
/// @param info      receives the file's status
/// @param ec        ENOTSUP for what is no regular file, which includes a link when `links` is kNone
/// @param isListed  its folder has just listed it as a regular file: saves a system call
Descriptor openRegular(int parent, const char* name, Links links, struct stat& info, std::error_code& ec,
                       bool isListed = false);

Descriptor openRegular(const std::string& path, Links links, struct stat& info, std::error_code& ec);

/// Where an entry is: the open folder, and the entry's name in it.
struct Place {
  Descriptor folder;
  std::string name;
};

/// Opens the folder that holds the entry at `path`, which need not exist. "/" and "/." at the path's end do not count.
Place locate(const std::string& path, Links links, std::error_code& ec);

/// Reads the status of an entry, never through a link at its name.
std::error_code lookUp(int folder, const char* name, struct stat& info);
std::error_code lookUp(const std::string& path, Links links, struct stat& info);

/// Runs `work` while nobody else can exchange the entry at `path`, which is no link: each folder on the way belongs to
/// root or the calling user, and others may not write to it, or its sticky bit is set. The calling user's last one gets
/// that bit for the time. @return whether that is so; else `work` is not run
bool whileFixed(const std::string& path, const std::function<void()>& work);

}  // namespace quelmar

namespace quelmar::utilities {

/// As makeFolder with Access::kAll.
/// @return true when the folder is there and `ec` is clear. Logs nothing.
bool ensureDirectoryExist(const std::string& path, std::error_code& ec, Links links = Links::kOwn);

}  // namespace quelmar::utilities

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

/// errno as an error code.
inline std::error_code lastError() {
  return {errno, std::generic_category()};
}

/// Tells whether both are the status of one file or folder.
inline bool isSame(const struct stat& one, const struct stat& other) {
  return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Owns a file descriptor and closes it; holds -1 when there is none. Not thread-safe.
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

/// Which symbolic links are followed:
/// - kNone: none;
/// - kOwn: those that root or the calling user owns;
/// - kJudged: those, and links whose owner owns what they lead to: a user's links to their own files;
/// - kAny: all.
enum class Links { kNone, kOwn, kJudged, kAny };

/// Makes the run use this open folder for everything at `path` or below it from now on: the functions here then begin
/// at the descriptor, whatever bears the name meanwhile, and follow no link on the way.
/// Requires: called before other threads start. The folder stays open until the process ends.
/// @return the descriptor
int hold(const std::string& path, Descriptor folder);

/// Tells whether opening a folder failed because the entry is none, or a link that is not followed.
bool isNoFolder(const std::error_code& ec);

/// Tells by its owner whether a link is followed. @return EPERM when it is not
std::error_code judgeLink(Links links, uid_t owner, uid_t ownerOfTarget);

/// Opens the folder `name`, or one of several levels ("a/b"), in the open folder `parent`. No link is followed. A
/// folder that may be passed through but not listed is opened for that, where the system can.
/// @param ec  cleared, then set when it cannot be opened
Descriptor openFolder(int parent, const std::string& name, std::error_code& ec);

/// Opens the folder at `path`; empty is the current one. Below a held folder no link is followed.
/// @param links  which links are followed elsewhere, in every component
/// @param ec     cleared, then set when it cannot be opened: EPERM for a link that must not be followed
Descriptor openFolder(const std::string& path, Links links, std::error_code& ec);

/// As openFolder; makes the folder, and those above it, when they are missing (mode 0755 less the umask). What stands
/// at `path` and is no folder is removed, but a link at it is an error for kAny. Below a held folder each component is
/// treated as by the function below.
/// @param made  when not null: set to true when the last folder was made
Descriptor makeFolder(const std::string& path, Links links, std::error_code& ec, bool* made = nullptr);

/// Makes the folder `name` in a folder of this run's own, or opens it when it is there. What stands there and is no
/// folder, or one of another user, is removed.
Descriptor makeFolder(int parent, const std::string& name, std::error_code& ec, bool* made = nullptr);

/// Where an entry is: the open folder, and the entry's name in it.
struct Place {
  Descriptor folder;
  std::string name;
};

/// Opens the folder that holds the entry at `path`, as openFolder does. The entry itself need not exist and is not
/// looked at. "/" and "/." at the path's end do not count.
Place locate(const std::string& path, Links links, std::error_code& ec);

/// Where the link `name` of an open folder leads; the caller asks judgeLink whether it may be followed.
/// @param owner  receives the link's owner
/// @param ec     cleared, then set when the folder there cannot be opened: ENOTSUP when `name` is no link
Place targetOfLink(int parent, const std::string& name, Links links, uid_t& owner, std::error_code& ec);

/// Reads the status of an entry, never through a link at its name. @return the error of that
std::error_code lookUp(int folder, const char* name, struct stat& info);
/// As above, finding it as locate does.
std::error_code lookUp(const std::string& path, Links links, struct stat& info);

/// An entry's type, from its directory: a link is kLink wherever it leads, kOther is a pipe, socket or device.
/// kUnknown: the directory does not hold the type, and the entry's status could not be read.
enum class EntryKind : char { kFile = 'f', kDirectory = 'd', kLink = 'l', kOther = 'o', kUnknown = '?' };

/// Appends all entries of an open folder but "." and "..", in listing order, to `entries`: one byte for the type
/// (EntryKind), the name and a zero byte each. One string for all, since a million of them would take too much memory.
/// @return the error that ended the listing early; the entries before it are in `entries`
std::error_code listFolder(int folder, std::string& entries);

/// Calls `callback` with the type and the name of each entry that listFolder has appended.
template <typename Callback>
void forEachEntry(const std::string& entries, const Callback& callback) {
  for (std::size_t at = 0; at < entries.size(); at = entries.find('\0', at) + 1) {
    callback(static_cast<EntryKind>(entries[at]), entries.c_str() + at + 1);
  }
}

/// Runs `work` while nobody else can exchange the entry at `path`: every folder on the way belongs to root or the
/// calling user, and others may not write to it or its sticky bit is set; the last one's is set for that time when it
/// is the calling user's. @return false when that is not so; `work` is not run then
bool whileFixed(const std::string& path, const std::function<void()>& work);

}  // namespace quelmar

namespace quelmar::utilities {

/// Makes sure that there is a folder at `path`, as makeFolder does. One that it makes, but not those above, gets mode
/// 0777 whatever the umask is.
/// @param ec  cleared, then set to the error of the step that failed
/// @return true when the folder is there and `ec` is clear. Logs nothing.
bool ensureDirectoryExist(const std::string& path, std::error_code& ec, Links links = Links::kOwn);

}  // namespace quelmar::utilities

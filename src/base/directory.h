#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <system_error>

#include <dirent.h>
#include <sys/stat.h>

#include "base/descriptor.h"

namespace quelmar::utilities {

/// Which symbolic links are followed:
/// - kNone: none;
/// - kOwn: those that root or the calling user owns;
/// - kJudged: those, and links whose owner owns what they lead to: a user's links to their own files;
/// - kAny: all.
enum class Links { kNone, kOwn, kJudged, kAny };

/// Reads the status of `name` in the open directory `parent` (AT_FDCWD: the current one). Of a link that
/// `links` allows to follow it is the target's status, of another link the link's own.
/// @param info  receives the status; not to be used after an error
/// @return fstatat's error
std::error_code lookUp(int parent, const char* name, Links links, struct stat& info);

/// An entry's type, from its directory: a link is kLink wherever it leads, kOther is a pipe, socket or
/// device. kUnknown: the directory does not hold the type, and the entry's status could not be read.
enum class EntryKind : char { kFile = 'f', kDirectory = 'd', kLink = 'l', kOther = 'o', kUnknown = '?' };

/// An open directory, closed with the object.
class Directory {
 public:
  Directory() = default;

  /// Opens the directory `name` in the open directory `parent` (AT_FDCWD: the current one).
  /// @param ec  cleared, then set when it cannot be opened: ELOOP for a link that `links` forbids
  Directory(int parent, const char* name, Links links, std::error_code& ec);

  [[nodiscard]] int get() const { return directory_ ? dirfd(directory_.get()) : -1; }
  explicit operator bool() const { return directory_ != nullptr; }

  /// Appends all entries but "." and "..", in listing order, to `entries`: one byte for the type (EntryKind),
  /// the name and a zero byte each. One string takes far less memory for a million files than a string for
  /// each. To be called once.
  /// @return the error that ended the listing early; the entries before it are in `entries`
  std::error_code list(std::string& entries);

 private:
  struct Close {
    void operator()(DIR* directory) const { closedir(directory); }
  };
  std::unique_ptr<DIR, Close> directory_;
};

/// Opens the directory at `path`. Links are followed in its first `trusted` bytes only; behind them each
/// component is opened in the one before it, and a link is an error.
/// @param ec  cleared, then set when it cannot be opened
Directory openWithoutLinks(const std::string& path, std::size_t trusted, std::error_code& ec);

/// Opens the directory at `path`, appends its entries as Directory::list does, and closes it.
/// @return the error of opening or listing it
std::error_code listDirectory(const char* path, Links links, std::string& entries);

/// Calls `callback` with the type and the name of each entry that Directory::list has appended.
template <typename Callback>
void forEachEntry(const std::string& entries, const Callback& callback) {
  for (std::size_t at = 0; at < entries.size(); at = entries.find('\0', at) + 1) {
    callback(static_cast<EntryKind>(entries[at]), entries.c_str() + at + 1);
  }
}

}  // namespace quelmar::utilities

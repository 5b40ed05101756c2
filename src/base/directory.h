#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <system_error>

#include <dirent.h>
#include <sys/stat.h>

#include "base/descriptor.h"

namespace quelmar::utilities {

/// Which links may stand at a name that is opened: none, those of root and the calling user, anybody's.
enum class Links { kNone, kOwn, kAny };

/// Looks up `name` in the open directory `parent` (AT_FDCWD: from the current one) as far as `links` allow: a
/// link that may be followed is answered by what it leads to, another one by the link itself.
/// @param info  receives the status when the result is no error
std::error_code lookUp(int parent, const char* name, Links links, struct stat& info);

/// What a directory lists of an entry: a link is kLink wherever it leads, kOther is a pipe, socket or device.
/// kUnknown: the system did not tell, and looking it up failed.
enum class EntryKind : char { kFile = 'f', kDirectory = 'd', kLink = 'l', kOther = 'o', kUnknown = '?' };

/// An open directory, closed with the object.
class Directory {
 public:
  Directory() = default;

  /// Opens the directory `name` in the open directory `parent` (AT_FDCWD: from the current one).
  /// @param ec  cleared, then set when it cannot be opened: ELOOP for a link that `links` forbids
  Directory(int parent, const char* name, Links links, std::error_code& ec);

  [[nodiscard]] int get() const { return directory_ ? dirfd(directory_.get()) : -1; }
  explicit operator bool() const { return directory_ != nullptr; }

  /// Appends all entries but "." and "..", in listing order, to `entries`: a kind, the name and a zero byte
  /// each, which takes little memory for a folder of a million files. To be called once.
  /// @return the error that broke the listing off; what was read by then is in `entries`
  std::error_code list(std::string& entries);

 private:
  struct Close {
    void operator()(DIR* directory) const { closedir(directory); }
  };
  std::unique_ptr<DIR, Close> directory_;
};

/// Opens the directory at `path`: in its first `trusted` bytes anybody's links are followed, behind them
/// none.
/// @param ec  cleared, then set when it cannot be opened
Directory openWithoutLinks(const std::string& path, std::size_t trusted, std::error_code& ec);

/// Lists the directory at `path`, see above, and leaves it closed.
std::error_code listDirectory(const char* path, Links links, std::string& entries);

/// Calls back with the kind and the name of each of these entries.
template <typename Callback>
void forEachEntry(const std::string& entries, const Callback& callback) {
  for (std::size_t at = 0; at < entries.size(); at = entries.find('\0', at) + 1) {
    callback(static_cast<EntryKind>(entries[at]), entries.c_str() + at + 1);
  }
}

}  // namespace quelmar::utilities

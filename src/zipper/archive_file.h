#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <zip.h>

#include "base/descriptor.h"

namespace zipper {

/// The file of an archive, used by the zip library through its callbacks. The library ignores some failed
/// writes; failed() remembers all of them. It also goes back to each entry's header, which costs nothing here
/// while the header is still in the buffer.
///
/// The archive is written as its name and kPartialSuffix, and renamed when it is complete and on disk, so
/// that a file with an archive's name is always complete. To add to an existing archive, a copy of it is
/// written.
class ArchiveFile {
 public:
  ArchiveFile();

  /// Opens an archive through the library. This object must outlive the handle.
  /// @param path    where the archive is or is to be
  /// @param append  APPEND_STATUS_CREATE for a new archive, APPEND_STATUS_ADDINZIP to add to the existing one
  /// @return the library's handle, to be ended with zipClose and then close(); null when the file cannot be
  ///         created, when another run is writing an archive of this name, or when the existing file is not
  ///         an archive. Existing files stay unchanged then.
  zipFile open(const std::string& path, int append);

  /// Closes the file, and gives it the archive's name when all of it is on disk.
  /// @param whole  false: it is not renamed in any case
  /// @return whether it was renamed
  bool close(bool whole);

  /// Makes failed() true; nothing more is written.
  void giveUp() { failed_ = true; }

  /// Tells whether a write has failed since the archive was opened, or giveUp() was called.
  bool failed() const { return failed_; }

  /// Where the next read or write begins, in bytes from the start of the file.
  std::uint64_t position() const { return position_; }

  /// Sets where the next read or write begins, in bytes from the start; this may be beyond the end.
  void seek(std::uint64_t position) { position_ = position; }

  /// Reads exactly `size` bytes and advances the position. @return false when there are fewer, or after an
  /// error.
  bool read(void* data, std::size_t size);

  /// Writes `size` bytes and advances the position. @return false once any write has failed: nothing is
  /// written any more then.
  bool write(const void* data, std::size_t size);

 private:
  bool openFile(bool create);
  bool copy(int from);
  bool flush();
  bool seekEnd();
  bool finish();
  bool isOurs() const;

  std::string path_;     // of the complete archive
  std::string partial_;  // of the file that is written
  quelmar::utilities::Descriptor file_;
  struct stat replaced_ {};  // the archive that is added to; all zero when there is none
  std::uint64_t position_ = 0;
  std::vector<char> buffer_;       // what is yet to be written
  std::uint64_t bufferStart_ = 0;  // where in the file
  std::size_t bufferedBytes_ = 0;
  bool failed_ = false;
};

}  // namespace zipper

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <zip.h>

#include "base/descriptor.h"

namespace zipper {

/// The file behind an archive, as the zip library sees it. The library passes over some failing writes;
/// here every one of them is kept in mind. And it goes back to each entry's header: that costs nothing here
/// as long as the header has not left the buffer.
/// The archive grows under its name and kPartialSuffix, and gets its name when it is finished and on disk:
/// what bears the name is whole. An archive of that name is added to by way of a copy.
class ArchiveFile {
 public:
  ArchiveFile();

  /// Opens an archive through the library. This object must outlive the handle.
  /// @param path    where the archive is or is to be
  /// @param append  APPEND_STATUS_CREATE for a new archive, APPEND_STATUS_ADDINZIP to add to the existing one
  /// @return the library's handle, to be ended with zipClose and then close(); null when the file cannot be
  ///         made, when there is one that grows under this name already, or when what bears the name is no
  ///         archive. Both stay then.
  zipFile open(const std::string& path, int append);

  /// Closes the file, with its new name if all of it has reached the disk.
  /// @param whole  false: it does not get its name in any case
  /// @return whether it has got its name
  bool close(bool whole);

  /// Makes failed() true, and writes no more.
  void giveUp() { failed_ = true; }

  /// Tells whether anything could not be written since the archive was opened, or giveUp() was called.
  bool failed() const { return failed_; }

  /// Where the next read or write begins, in bytes from the start of the file.
  std::uint64_t position() const { return position_; }

  /// Has the next read or write begin elsewhere, which may lie beyond the end.
  void seek(std::uint64_t position) { position_ = position; }

  /// Reads just `size` bytes and goes on behind them. @return false when there are fewer, or on an error.
  bool read(void* data, std::size_t size);

  /// Writes `size` bytes and goes on behind them. @return false once anything could not be written: nothing
  /// that follows is then, and failed() tells so.
  bool write(const void* data, std::size_t size);

 private:
  bool openFile(bool create);
  bool copy(int from);
  bool flush();
  bool seekEnd();
  bool finish();
  bool isOurs() const;

  std::string path_;     // of the finished archive
  std::string partial_;  // where it grows
  quelmar::utilities::Descriptor file_;
  struct stat replaced_ {};  // the archive that is added to; all zero when there is none
  std::uint64_t position_ = 0;
  std::vector<char> buffer_;       // what is yet to be written
  std::uint64_t bufferStart_ = 0;  // where in the file
  std::size_t bufferedBytes_ = 0;
  bool failed_ = false;
};

}  // namespace zipper

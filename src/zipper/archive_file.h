#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <zip.h>

namespace zipper {

/// The file behind an archive, as the zip library sees it. The library passes over some failing writes;
/// here every one of them is kept in mind. And it goes back to each entry's header: that costs nothing here
/// as long as the header has not left the buffer.
class ArchiveFile {
 public:
  /// Does what is left to do to the file once the library has written its end. @return whether it could.
  using Completion = bool (*)(ArchiveFile&);

  explicit ArchiveFile(Completion complete);
  ~ArchiveFile();
  ArchiveFile(const ArchiveFile&) = delete;
  ArchiveFile& operator=(const ArchiveFile&) = delete;

  /// Opens an archive through the library. Only a regular file is opened or made, and opening never blocks.
  /// This object must outlive the handle.
  /// @param path    where the archive is or is to be
  /// @param append  APPEND_STATUS_CREATE for a new archive, APPEND_STATUS_ADDINZIP to add to the existing one
  /// @return the library's handle, to be ended with zipClose; null when the file cannot be opened or is no
  ///         archive, which stays as it was then.
  zipFile open(const std::string& path, int append);

  /// Tells whether anything could not be written since the archive was opened.
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
  bool openFile(const std::string& path, bool create);
  bool flush();
  bool seekEnd();
  bool close();

  Completion complete_;
  int descriptor_ = -1;
  std::uint64_t position_ = 0;
  std::vector<char> buffer_;       // what is yet to be written
  std::uint64_t bufferStart_ = 0;  // where in the file
  std::size_t bufferedBytes_ = 0;
  bool written_ = false;
  bool failed_ = false;
};

}  // namespace zipper

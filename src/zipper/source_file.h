#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/descriptor.h"

namespace zipper {

/// A file to be packed, read from its start to where it ended when it was opened: one that is written to all
/// the time would otherwise never come to an end. Anything but a regular file, a link too, counts as a file
/// that cannot be opened. Never blocks, whatever it is.
class SourceFile {
 public:
  /// A file without data.
  SourceFile() = default;

  /// Opens the file `name` in the open directory `parent`. One that cannot be opened reads as an empty one.
  SourceFile(int parent, const char* name);

  /// How many bytes it had when it was opened; no more are read.
  std::uint64_t size() const { return size_; }

  /// Reads the next `size` bytes to `to`, or fewer when the end comes first.
  /// @return how many came; 0 at the end and after an error
  std::size_t read(char* to, std::size_t size);

  /// Tells whether nothing more will come.
  bool atEnd() const { return position_ == size_; }

  /// The number of the error that opening or reading has met; 0 when there was none, and for what is not a
  /// regular file.
  int error() const { return error_; }

  /// Goes back to the start.
  void rewind() { position_ = 0; }

 private:
  quelmar::utilities::Descriptor descriptor_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  int error_ = 0;
};

/// Tells whether a file needs the 64-bit size fields: more than 4,294,967,294 bytes.
bool isLargeFile(const SourceFile& stream);

/// Computes the CRC-32 of a file and goes back to its start. An error ends it early.
/// @param buffer  where the pieces are read to; its size is theirs
/// @param crc     receives the checksum
void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc);

}  // namespace zipper

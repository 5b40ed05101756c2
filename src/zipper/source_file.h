#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "base/descriptor.h"

namespace zipper {

/// A file to be packed. Not more is read of it than it had when it was opened, since a file that is written
/// to all the time would never end. Anything that is not a regular file, links included, counts as a file
/// that cannot be opened. Never blocks.
class SourceFile {
 public:
  /// An empty file.
  SourceFile() = default;

  /// Opens the file `name` in the open directory `parent`. A file that cannot be opened reads as an empty
  /// one.
  SourceFile(int parent, const char* name);

  /// The number of bytes that it had when it was opened.
  std::uint64_t size() const { return size_; }

  /// Reads the next bytes, at most `size`, to `to`.
  /// @return the number of bytes read: less than `size` only at the end and after an error
  std::size_t read(char* to, std::size_t size);

  /// Tells whether there is nothing more to read.
  bool atEnd() const { return position_ == size_; }

  /// The error number of opening or reading it; 0 when there was no error, and for what is not a regular
  /// file.
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

/// Computes the CRC-32 of a file and goes back to its start.
/// @param buffer  the buffer to read into, not empty
/// @param crc     receives the checksum of what could be read; see SourceFile::error
void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc);

}  // namespace zipper

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zipper {

/// A file to be packed, read from its start to where it ended when it was opened: one that is written to all
/// the time would otherwise never come to an end. Anything but a regular file, or a link to one that this
/// user or root made, counts as a file that cannot be opened. Never blocks, whatever lies at the path.
class SourceFile {
 public:
  /// Opens `path` for reading. A file that cannot be opened reads as an empty one.
  explicit SourceFile(const std::string& path);
  ~SourceFile();
  SourceFile(const SourceFile&) = delete;
  SourceFile& operator=(const SourceFile&) = delete;

  /// How many bytes it had when it was opened; no more are read.
  std::uint64_t size() const { return size_; }

  /// Reads the next bytes, as many as `buffer` holds unless the end comes first.
  /// @return how many came; 0 at the end and after an error
  std::size_t read(std::vector<char>& buffer);

  /// Tells whether reading has met an error.
  bool failed() const { return failed_; }

  /// Goes back to the start and forgets errors.
  void rewind();

 private:
  int descriptor_ = -1;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  bool failed_ = false;
};

/// Tells whether a file needs the 64-bit size fields: more than 4,294,967,294 bytes.
bool isLargeFile(const SourceFile& stream);

/// Computes the CRC-32 of a file and goes back to its start. An error ends it early.
/// @param buffer  where the pieces are read to; its size is theirs
/// @param crc     receives the checksum
void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc);

}  // namespace zipper

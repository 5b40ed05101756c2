#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace zipper {

/// Closes a standard stream.
struct CloseFile {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};
/// A standard stream that closes itself; null when it could not be opened.
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a regular file for binary reading. Never blocks, whatever lies at the path.
/// @return null when it cannot be opened or is anything but a regular file (or a link to one).
FilePtr openSource(const std::string& path);

/// The size of an open file in bytes as it is now: 0 for a null stream or one whose size is unknown.
std::uint64_t sourceSize(std::FILE* stream);

/// Tells whether an open file needs the 64-bit size fields: more than 4,294,967,294 bytes.
/// The stream is at its start afterwards. False for a null stream.
bool isLargeFile(std::FILE* stream);

/// Computes the CRC-32 of a file's first bytes; errors cut it short. The stream is at its start afterwards.
/// @param stream  an open file, or null for one that is taken as empty
/// @param limit   how many bytes to read at most
/// @param buffer  where the pieces are read to; its size is theirs
/// @param crc     receives the checksum
void getFileCrc(std::FILE* stream, std::uint64_t limit, std::vector<char>& buffer, unsigned long& crc);

/// Reads an open file piece by piece and no further than it reached when it was opened: one that is
/// written to all the time would otherwise never come to its end.
class SourceReader {
 public:
  /// @param stream  an open file at its start, or null for a source that could not be opened; not owned
  explicit SourceReader(std::FILE* stream);

  /// Tells whether the entry needs the 64-bit size fields.
  bool large() const { return large_; }
  /// How many bytes will be read at most.
  std::uint64_t limit() const { return limit_; }

  /// Reads up to buffer.size() bytes.
  /// @return how many came; 0 at the end and after an error.
  std::size_t read(std::vector<char>& buffer);

  /// Tells whether reading ended with an error before the end of the file.
  bool failed() const { return failed_; }

 private:
  std::FILE* stream_;
  bool large_;
  bool failed_ = false;
  std::uint64_t limit_;
  std::uint64_t left_;
};

}  // namespace zipper

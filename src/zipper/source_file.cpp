#include "zipper/source_file.h"

#include <algorithm>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace zipper {
namespace {

constexpr std::uint64_t kLargestPlainBytes = 4'294'967'294U;

bool isRegular(const struct stat& status) {
  return S_ISREG(status.st_mode);
}

std::size_t pieceSize(std::uint64_t left, const std::vector<char>& buffer) {
  return static_cast<std::size_t>(std::min<std::uint64_t>(left, buffer.size()));
}

}  // namespace

FilePtr openSource(const std::string& path) {
  struct stat status {};
  // Asked before opening too: to open a device can already have an effect.
  if (::stat(path.c_str(), &status) != 0 || !isRegular(status)) return nullptr;
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  if (descriptor < 0) return nullptr;
  std::FILE* stream =
      ::fstat(descriptor, &status) == 0 && isRegular(status) ? ::fdopen(descriptor, "rb") : nullptr;
  if (stream == nullptr) ::close(descriptor);
  return FilePtr(stream);
}

std::uint64_t sourceSize(std::FILE* stream) {
  if (stream == nullptr || ::fseeko(stream, 0, SEEK_END) != 0) return 0;
  const off_t end = ::ftello(stream);
  std::rewind(stream);
  return end < 0 ? 0 : static_cast<std::uint64_t>(end);
}

bool isLargeFile(std::FILE* stream) {
  return sourceSize(stream) > kLargestPlainBytes;
}

void getFileCrc(std::FILE* stream, std::uint64_t limit, std::vector<char>& buffer, unsigned long& crc) {
  crc = ::crc32(0, nullptr, 0);
  if (stream == nullptr) return;
  while (limit > 0) {
    const std::size_t count = std::fread(buffer.data(), 1, pieceSize(limit, buffer), stream);
    if (count == 0) break;
    crc = ::crc32(crc, reinterpret_cast<const Bytef*>(buffer.data()), static_cast<uInt>(count));
    limit -= count;
  }
  std::rewind(stream);  // clears the stream's error and end marks as well
}

SourceReader::SourceReader(std::FILE* stream)
    : stream_(stream), large_(isLargeFile(stream)), limit_(sourceSize(stream)), left_(limit_) {
  // It may have grown between the two questions, and the entry has room for what the first one told.
  if (!large_) left_ = limit_ = std::min(limit_, kLargestPlainBytes);
}

std::size_t SourceReader::read(std::vector<char>& buffer) {
  if (stream_ == nullptr || failed_ || left_ == 0) return 0;
  const std::size_t wanted = pieceSize(left_, buffer);
  const std::size_t count = std::fread(buffer.data(), 1, wanted, stream_);
  failed_ = count < wanted && std::feof(stream_) == 0 && std::ferror(stream_) != 0;
  left_ = count < wanted ? 0 : left_ - count;
  return count;
}

}  // namespace zipper

#include "zipper/source_file.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include "base/regular_file.h"

namespace zipper {
namespace {

constexpr std::uint64_t kLargestPlainBytes = 4'294'967'294U;

}  // namespace

SourceFile::SourceFile(int parent, const char* name) {
  struct stat status {};
  std::error_code ec;
  descriptor_ = quelmar::utilities::openRegular(parent, name, quelmar::utilities::Links::kNone, status, ec);
  if (!ec) size_ = static_cast<std::uint64_t>(status.st_size);
  if (ec && ec != std::errc::not_supported) error_ = ec.value();
}

std::size_t SourceFile::read(char* to, std::size_t size) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size_ - position_, size));
  std::size_t count = 0;
  while (count < wanted) {
    const ssize_t got =
        ::pread(descriptor_.get(), to + count, wanted - count, static_cast<off_t>(position_ + count));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) error_ = errno;
    if (got <= 0) break;
    count += static_cast<std::size_t>(got);
  }
  position_ = count < wanted ? size_ : position_ + count;  // what has become shorter is at its end
  return count;
}

bool isLargeFile(const SourceFile& stream) {
  return stream.size() > kLargestPlainBytes;
}

void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc) {
  crc = ::crc32(0, nullptr, 0);
  while (const std::size_t count = stream.read(buffer.data(), buffer.size())) {
    crc = ::crc32(crc, reinterpret_cast<const Bytef*>(buffer.data()), static_cast<uInt>(count));
  }
  stream.rewind();
}

}  // namespace zipper

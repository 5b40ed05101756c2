#include "zipper/source_file.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace zipper {
namespace {

constexpr std::uint64_t kLargestPlainBytes = 4'294'967'294U;

}  // namespace

SourceFile::SourceFile(const std::string& path) {
  struct stat status {};
  // Asked before opening too: to open a device can already have an effect.
  if (::lstat(path.c_str(), &status) != 0) return;
  const bool isLink = S_ISLNK(status.st_mode);
  // A link that another user made may lead to a file that only this process may read.
  if (isLink && status.st_uid != 0 && status.st_uid != ::geteuid()) return;
  if (isLink && ::stat(path.c_str(), &status) != 0) return;
  if (!S_ISREG(status.st_mode)) return;
  const int flags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | (isLink ? 0 : O_NOFOLLOW);
  descriptor_ = ::open(path.c_str(), flags);
  if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0 || !S_ISREG(status.st_mode)) return;
  size_ = static_cast<std::uint64_t>(status.st_size);
}

SourceFile::~SourceFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

std::size_t SourceFile::read(std::vector<char>& buffer) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size_ - position_, buffer.size()));
  std::size_t count = 0;
  while (count < wanted && !failed_) {
    const ssize_t got =
        ::pread(descriptor_, buffer.data() + count, wanted - count, static_cast<off_t>(position_ + count));
    if (got == 0) break;
    if (got > 0) count += static_cast<std::size_t>(got);
    if (got < 0 && errno != EINTR) failed_ = true;
  }
  position_ = count < wanted ? size_ : position_ + count;  // what has become shorter is at its end
  return count;
}

void SourceFile::rewind() {
  position_ = 0;
  failed_ = false;
}

bool isLargeFile(const SourceFile& stream) {
  return stream.size() > kLargestPlainBytes;
}

void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc) {
  crc = ::crc32(0, nullptr, 0);
  while (const std::size_t count = stream.read(buffer)) {
    crc = ::crc32(crc, reinterpret_cast<const Bytef*>(buffer.data()), static_cast<uInt>(count));
  }
  stream.rewind();
}

}  // namespace zipper

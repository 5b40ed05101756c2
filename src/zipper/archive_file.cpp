#include "zipper/archive_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zipper {
namespace {

constexpr mode_t kArchiveMode = 0666;  // less the umask
constexpr std::size_t kBufferBytes = 65'536;

ArchiveFile& fileOf(voidpf stream) {
  return *static_cast<ArchiveFile*>(stream);
}

}  // namespace

ArchiveFile::ArchiveFile(Completion complete) : complete_(complete), buffer_(kBufferBytes) {}

ArchiveFile::~ArchiveFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

zipFile ArchiveFile::open(const std::string& path, int append) {
  zlib_filefunc64_def functions{};
  functions.opaque = this;
  functions.zopen64_file = [](voidpf self, const void* name, int mode) -> voidpf {
    const bool create = (mode & ZLIB_FILEFUNC_MODE_CREATE) != 0;
    return fileOf(self).openFile(static_cast<const char*>(name), create) ? self : nullptr;
  };
  functions.zread_file = [](voidpf, voidpf self, void* data, uLong size) -> uLong {
    return fileOf(self).read(data, size) ? size : 0;
  };
  functions.zwrite_file = [](voidpf, voidpf self, const void* data, uLong size) -> uLong {
    return fileOf(self).write(data, size) ? size : 0;
  };
  functions.ztell64_file = [](voidpf, voidpf self) -> ZPOS64_T { return fileOf(self).position(); };
  functions.zseek64_file = [](voidpf, voidpf self, ZPOS64_T offset, int origin) -> long {
    if (origin == ZLIB_FILEFUNC_SEEK_END) return fileOf(self).seekEnd() ? 0 : -1;
    fileOf(self).seek(offset);
    return 0;
  };
  functions.zclose_file = [](voidpf, voidpf self) -> int { return fileOf(self).close() ? 0 : EOF; };
  functions.zerror_file = [](voidpf, voidpf self) -> int { return fileOf(self).failed() ? 1 : 0; };
  const zipFile archive = zipOpen2_64(path.c_str(), append, nullptr, &functions);
  if (archive == nullptr) close();  // the library does not on all its ways out
  return archive;
}

bool ArchiveFile::openFile(const std::string& path, bool create) {
  // Not handed down to the commands that the process starts; nothing but a regular file: a FIFO must not
  // block, and a link could lead to a file of somebody else's.
  const int flags = O_RDWR | (create ? O_CREAT : 0) | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY;
  descriptor_ = ::open(path.c_str(), flags, kArchiveMode);
  position_ = bufferStart_ = bufferedBytes_ = 0;
  written_ = failed_ = false;
  struct stat status {};
  return descriptor_ >= 0 && ::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode) &&
         (!create || ::ftruncate(descriptor_, 0) == 0);
}

bool ArchiveFile::read(void* data, std::size_t size) {
  if (!flush()) return false;
  for (char* to = static_cast<char*>(data); size > 0;) {
    const ssize_t got = ::pread(descriptor_, to, size, static_cast<off_t>(position_));
    if (got == 0 || (got < 0 && errno != EINTR)) return false;
    if (got < 0) continue;
    to += got;
    position_ += static_cast<std::size_t>(got);
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool ArchiveFile::write(const void* data, std::size_t size) {
  if (failed_) return false;  // nothing that follows could make up for the gap
  written_ = true;
  for (const char* from = static_cast<const char*>(data); size > 0;) {
    const bool inside = position_ >= bufferStart_ && position_ <= bufferStart_ + bufferedBytes_;
    if (!inside || position_ - bufferStart_ == buffer_.size()) {
      if (!flush()) return false;
      bufferStart_ = position_;
    }
    const auto at = static_cast<std::size_t>(position_ - bufferStart_);
    const std::size_t count = std::min(size, buffer_.size() - at);
    std::memcpy(&buffer_[at], from, count);
    bufferedBytes_ = std::max(bufferedBytes_, at + count);
    position_ += count;
    from += count;
    size -= count;
  }
  return true;
}

bool ArchiveFile::flush() {
  std::size_t done = 0;
  while (done < bufferedBytes_) {
    const ssize_t written =
        ::pwrite(descriptor_, &buffer_[done], bufferedBytes_ - done, static_cast<off_t>(bufferStart_ + done));
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) break;
    done += static_cast<std::size_t>(written);
  }
  const bool complete = done == bufferedBytes_;
  if (!complete) failed_ = true;
  bufferedBytes_ = 0;
  return complete;
}

bool ArchiveFile::seekEnd() {
  struct stat status {};
  if (!flush() || ::fstat(descriptor_, &status) != 0) return false;
  position_ = static_cast<std::uint64_t>(status.st_size);
  return true;
}

bool ArchiveFile::close() {
  if (descriptor_ < 0) return true;
  // Nothing was written to a file that turned out to be no archive: it stays as it is.
  if (written_ && !failed_) {
    // Added to an archive with a longer end (a comment, 64-bit records), the new end may be the shorter one.
    const bool complete =
        complete_(*this) && flush() && ::ftruncate(descriptor_, static_cast<off_t>(position_)) == 0;
    if (!complete) failed_ = true;
  }
  if (::close(descriptor_) != 0 && errno != EINTR) failed_ = true;
  descriptor_ = -1;
  return !failed_;
}

}  // namespace zipper

#include "zipper/archive_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/regular_file.h"
#include "zipper/zipper.h"

namespace zipper {
namespace {

using quelmar::utilities::Descriptor;
using quelmar::utilities::Links;

constexpr mode_t kArchiveMode = 0666;  // less the umask
constexpr std::size_t kBufferBytes = 65'536;
constexpr std::size_t kCopyBytes = 8192;
constexpr off_t kLeastArchiveBytes = 22;  // its end record

ArchiveFile& fileOf(voidpf stream) {
  return *static_cast<ArchiveFile*>(stream);
}

/// Tells whether `file` is what stands at `path`; for a status of zeroes, whether nothing does.
bool isFileAt(const std::string& path, const struct stat& file) {
  struct stat found {};
  const std::error_code ec = lookUp(AT_FDCWD, path.c_str(), Links::kNone, found);
  if (ec && ec.value() != ENOENT) return false;
  return found.st_dev == file.st_dev && found.st_ino == file.st_ino;
}

}  // namespace

ArchiveFile::ArchiveFile() : buffer_(kBufferBytes) {}

zipFile ArchiveFile::open(const std::string& path, int append) {
  zlib_filefunc64_def functions{};
  functions.opaque = this;
  functions.zopen64_file = [](voidpf self, const void*, int mode) -> voidpf {
    const bool create = (mode & ZLIB_FILEFUNC_MODE_CREATE) != 0;
    return fileOf(self).openFile(create) ? self : nullptr;
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
  functions.zclose_file = [](voidpf, voidpf) -> int { return 0; };  // close() follows
  functions.zerror_file = [](voidpf, voidpf self) -> int { return fileOf(self).failed() ? 1 : 0; };
  path_ = path;
  partial_ = path + kPartialSuffix;
  const zipFile archive = zipOpen2_64(path.c_str(), append, nullptr, &functions);
  if (archive == nullptr && isOurs()) ::unlink(partial_.c_str());
  if (archive == nullptr) close(false);
  return archive;
}

bool ArchiveFile::openFile(bool create) {
  position_ = bufferStart_ = bufferedBytes_ = 0;
  failed_ = false;
  replaced_ = {};
  if (path_.empty()) return false;
  std::error_code ec;
  Descriptor old;
  if (!create) old = openRegular(AT_FDCWD, path_.c_str(), Links::kNone, replaced_, ec);
  // The library takes what is too short to be an archive for an empty one, and would replace it.
  if (ec || (replaced_.st_size > 0 && replaced_.st_size < kLeastArchiveBytes)) return false;
  // Not inherited by commands. Never an existing file: another run may be writing it, or another user may
  // have put a link there.
  const int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  file_ =
      Descriptor(::open(partial_.c_str(), flags, create ? kArchiveMode : replaced_.st_mode & kArchiveMode));
  return file_ && (create || copy(old.get()));
}

bool ArchiveFile::copy(int from) {
  char bytes[kCopyBytes];  // no allocation: no exception may pass through the library
  for (;;) {
    const ssize_t got = ::read(from, bytes, sizeof bytes);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return got == 0;
    if (!write(bytes, static_cast<std::size_t>(got))) return false;
  }
}

bool ArchiveFile::read(void* data, std::size_t size) {
  if (!flush()) return false;
  for (char* to = static_cast<char*>(data); size > 0;) {
    const ssize_t got = ::pread(file_.get(), to, size, static_cast<off_t>(position_));
    if (got == 0 || (got < 0 && errno != EINTR)) return false;
    if (got < 0) continue;
    to += got;
    position_ += static_cast<std::size_t>(got);
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool ArchiveFile::write(const void* data, std::size_t size) {
  if (failed_) return false;  // the archive has a gap already
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
        ::pwrite(file_.get(), &buffer_[done], bufferedBytes_ - done, static_cast<off_t>(bufferStart_ + done));
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
  if (!flush() || ::fstat(file_.get(), &status) != 0) return false;
  position_ = static_cast<std::uint64_t>(status.st_size);
  return true;
}

bool ArchiveFile::isOurs() const {
  struct stat held {};
  return ::fstat(file_.get(), &held) == 0 && isFileAt(partial_, held);
}

bool ArchiveFile::close(bool whole) {
  const bool named = whole && finish();
  file_ = Descriptor();  // errors that closing could report were seen by fsync in finish()
  return named;
}

bool ArchiveFile::finish() {
  if (failed_ || !flush()) return false;
  // The end of the archive that was added to may have been longer (a comment, 64-bit records).
  if (::ftruncate(file_.get(), static_cast<off_t>(position_)) != 0) return false;
  if (::fsync(file_.get()) != 0 && errno != EINVAL && errno != ENOTSUP) return false;
  // Another run may have finished an archive of this name meanwhile.
  return isOurs() && isFileAt(path_, replaced_) && ::rename(partial_.c_str(), path_.c_str()) == 0;
}

}  // namespace zipper

#include "zipper/archive_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zipper {
namespace {

constexpr mode_t kArchiveMode = 0666;  // less the umask

ArchiveFile& fileOf(voidpf self) {
  return *static_cast<ArchiveFile*>(self);
}

}  // namespace

ArchiveFile::~ArchiveFile() {
  if (stream_ != nullptr) std::fclose(stream_);
}

zipFile ArchiveFile::open(const std::string& path, int append) {
  zlib_filefunc64_def functions;
  fill_fopen64_filefunc(&functions);
  functions.zopen64_file = openFile;
  functions.zwrite_file = writeFile;
  functions.zseek64_file = seekFile;
  functions.zclose_file = closeFile;
  functions.opaque = this;
  const zipFile archive = zipOpen2_64(path.c_str(), append, nullptr, &functions);
  if (archive == nullptr && stream_ != nullptr) closeFile(this, stream_);  // not all its ways out do so
  failed_ = false;
  return archive;
}

voidpf ArchiveFile::openFile(voidpf self, const void* path, int mode) {
  const bool create = (mode & ZLIB_FILEFUNC_MODE_CREATE) != 0;
  // Files of a long run are never handed down to the commands it starts; a FIFO must not block it.
  const int flags = (create ? O_WRONLY | O_CREAT : O_RDWR) | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;
  const int descriptor = ::open(static_cast<const char*>(path), flags, kArchiveMode);
  if (descriptor < 0) return nullptr;
  struct stat status {};
  const bool usable = ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
                      (!create || ::ftruncate(descriptor, 0) == 0);
  std::FILE* stream = usable ? ::fdopen(descriptor, create ? "wb" : "r+b") : nullptr;
  if (stream == nullptr) ::close(descriptor);
  fileOf(self).stream_ = stream;
  return stream;
}

uLong ArchiveFile::writeFile(voidpf self, voidpf stream, const void* data, uLong size) {
  const uLong written = std::fwrite(data, 1, size, static_cast<std::FILE*>(stream));
  if (written != size) fileOf(self).failed_ = true;
  return written;
}

long ArchiveFile::seekFile(voidpf self, voidpf stream, ZPOS64_T offset, int origin) {
  const int from = origin == ZLIB_FILEFUNC_SEEK_CUR   ? SEEK_CUR
                   : origin == ZLIB_FILEFUNC_SEEK_END ? SEEK_END
                                                      : SEEK_SET;
  // To seek is to write out what the stream still holds.
  const int result = ::fseeko(static_cast<std::FILE*>(stream), static_cast<off_t>(offset), from);
  if (result != 0) fileOf(self).failed_ = true;
  return result;
}

int ArchiveFile::closeFile(voidpf self, voidpf stream) {
  const int result = std::fclose(static_cast<std::FILE*>(stream));
  fileOf(self).stream_ = nullptr;
  if (result != 0) fileOf(self).failed_ = true;
  return result;
}

}  // namespace zipper

#include "base/files.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

#include <fcntl.h>

#include "base/threads.h"

namespace quelmar {

// Too large for the stack: some hosts give threads 512 KiB.
constexpr std::size_t kCopyBufferBytes = 64 * 1024;

std::error_code copyBytes(int from, int to, std::uintmax_t bytes) {
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kCopyBufferBytes]);
  if (!buffer) return std::make_error_code(std::errc::not_enough_memory);
  for (off_t at = 0; bytes > 0;) {
    const auto want = static_cast<std::size_t>(std::min<std::uintmax_t>(bytes, kCopyBufferBytes));
    const ssize_t got = pread(from, buffer.get(), want, at);  // a log's offset moves with each record
    if (got < 0) return lastError();
    if (got == 0) break;
    if (!writeAll(to, buffer.get(), static_cast<std::size_t>(got))) return lastError();
    at += got;
    bytes -= static_cast<std::uintmax_t>(got);
    beat();
  }
  return {};
}

bool writeAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, data, size);
    if (put == 0) errno = EIO;  // else this loop might not end
    if (put <= 0) return false;
    data += put;
    size -= static_cast<std::size_t>(put);
  }
  return true;
}

Descriptor makeFile(int parent, const char* name, int flags, mode_t mode, Overwrite overwrite, std::error_code& ec) {
  std::error_code notRemoved;
  if (overwrite == Overwrite::kYes && unlinkat(parent, name, 0) != 0 && errno != ENOENT) notRemoved = lastError();
  Descriptor file(openat(parent, name, flags | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  ec.clear();
  if (!file) ec = notRemoved ? notRemoved : lastError();
  return file;
}

std::error_code copyOpened(const Descriptor& source, const struct stat& info, int parent, const char* name,
                           Overwrite overwrite) {
  // Without set-id bits: the copy belongs to the user who runs the tool, often root.
  const mode_t mode = (info.st_mode & 0777) | S_IRUSR | S_IWUSR;
  std::error_code ec;
  Descriptor target = makeFile(parent, name, O_WRONLY, mode, overwrite, ec);
  if (ec) return ec;
  ec = copyBytes(source.get(), target.get(), static_cast<std::uintmax_t>(info.st_size));
  if (!target.closeNow() && !ec) ec = lastError();
  return ec;
}

std::string readRegularFile(const fs::path& path, std::size_t limit) {
  std::error_code ec;
  struct stat info {};
  const Descriptor file = openRegular(path.string(), Links::kAny, info, ec);
  if (ec) return {};
  std::string content(limit, '\0');
  std::size_t length = 0;
  while (length < limit) {
    const ssize_t got = read(file.get(), content.data() + length, limit - length);
    if (got <= 0) break;
    length += static_cast<std::size_t>(got);
  }
  content.resize(length);
  return content;
}

}  // namespace quelmar

#include "base/regular_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = boost::filesystem;

namespace quelmar::utilities {
namespace {

// On the heap: a copy runs at the bottom of a deep walk, on threads whose stacks are 512 KiB on some hosts.
constexpr std::size_t kCopyBufferBytes = 64 * 1024;

/// Makes a file at a name where none is, or where what is there can be removed.
Descriptor makeFile(int parent, const char* name, mode_t mode, Overwrite overwrite, std::error_code& ec) {
  ec.clear();
  if (overwrite == Overwrite::kYes && unlinkat(parent, name, 0) != 0) ec = lastError();
  Descriptor file(openat(parent, name, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (file) {
    ec.clear();
  } else if (!ec || ec == std::errc::no_such_file_or_directory) {
    ec = lastError();
  }
  return file;
}

/// read(2) without interruptions: bytes read, 0 at the end, -1 with errno on failure.
ssize_t readSome(int fd, char* buffer, std::size_t size) {
  ssize_t got = 0;
  do {
    got = read(fd, buffer, size);
  } while (got < 0 && errno == EINTR);
  return got;
}

bool writeAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t put = write(fd, data, size);
    if (put < 0 && errno == EINTR) continue;
    if (put == 0) errno = EIO;  // no file does that for long
    if (put <= 0) return false;
    data += put;
    size -= static_cast<std::size_t>(put);
  }
  return true;
}

std::error_code copyBytes(int from, int to, std::uintmax_t bytes, CopyBuffer& buffer) {
  if (!buffer) buffer.reset(new (std::nothrow) char[kCopyBufferBytes]);
  if (!buffer) return std::make_error_code(std::errc::not_enough_memory);
  while (bytes > 0) {
    const auto want = static_cast<std::size_t>(std::min<std::uintmax_t>(bytes, kCopyBufferBytes));
    const ssize_t got = readSome(from, buffer.get(), want);
    if (got < 0) return lastError();
    if (got == 0) break;
    if (!writeAll(to, buffer.get(), static_cast<std::size_t>(got))) return lastError();
    bytes -= static_cast<std::uintmax_t>(got);
  }
  return {};
}

}  // namespace

Descriptor openRegular(int parent, const char* name, Links links, struct stat& info, std::error_code& ec) {
  struct stat seen {};
  ec = lookUp(parent, name, links, seen);
  Descriptor file;
  if (!ec && S_ISREG(seen.st_mode)) {
    const int noFollow = links == Links::kNone ? O_NOFOLLOW : 0;
    file = Descriptor(openat(parent, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | noFollow));
    if (!file || fstat(file.get(), &info) != 0) ec = lastError();
  }
  // Somebody may have put another file, or a link, in its place between the two calls.
  const bool isTheSame = file && info.st_dev == seen.st_dev && info.st_ino == seen.st_ino;
  if (!ec && !isTheSame && links != Links::kAny) ec = std::make_error_code(std::errc::not_supported);
  if (!ec && (!file || !S_ISREG(info.st_mode))) ec = std::make_error_code(std::errc::not_supported);
  return ec ? Descriptor() : std::move(file);
}

std::error_code copyOpened(const Descriptor& source, const struct stat& info, int parent, const char* name,
                           Overwrite overwrite, CopyBuffer& buffer) {
  // Set-id bits never travel: the copy belongs to whoever runs the tool, often root.
  const mode_t mode = (info.st_mode & 0777) | S_IRUSR | S_IWUSR;
  std::error_code ec;
  Descriptor target = makeFile(parent, name, mode, overwrite, ec);
  if (ec) return ec;
  ec = copyBytes(source.get(), target.get(), static_cast<std::uintmax_t>(info.st_size), buffer);
  if (!target.closeNow() && !ec) ec = lastError();
  return ec;
}

void copyRegularFile(const fs::path& from, const fs::path& to, Overwrite overwrite, std::error_code& ec) {
  struct stat info {};
  const Descriptor source = openRegular(AT_FDCWD, from.c_str(), Links::kAny, info, ec);
  CopyBuffer buffer;
  if (!ec) ec = copyOpened(source, info, AT_FDCWD, to.c_str(), overwrite, buffer);
}

std::string readRegularFile(const fs::path& path, std::size_t limit) {
  std::error_code ec;
  struct stat info {};
  const Descriptor file = openRegular(AT_FDCWD, path.c_str(), Links::kAny, info, ec);
  if (ec) return {};
  std::string content(limit, '\0');
  std::size_t length = 0;
  while (length < limit) {
    const ssize_t got = readSome(file.get(), content.data() + length, limit - length);
    if (got <= 0) break;
    length += static_cast<std::size_t>(got);
  }
  content.resize(length);
  return content;
}

}  // namespace quelmar::utilities

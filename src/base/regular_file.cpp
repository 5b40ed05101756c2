#include "base/regular_file.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/directories.h"

namespace fs = boost::filesystem;

namespace quelmar::utilities {
namespace {

// On the heap: a copy runs at the bottom of a deep walk, on threads whose stacks are 512 KiB on some hosts.
constexpr std::size_t kCopyBufferBytes = 64 * 1024;

Descriptor openTarget(const fs::path& path, mode_t mode, Overwrite overwrite, std::error_code& ec) {
  int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
  if (overwrite == Overwrite::kYes) {
    discardForeignEntry(path);
    flags |= O_TRUNC;
  } else {
    flags |= O_EXCL;
  }
  Descriptor file(open(path.c_str(), flags, mode));
  struct stat info {};
  if (file.get() < 0 || fstat(file.get(), &info) != 0) {
    ec = lastError();
  } else if (!S_ISREG(info.st_mode)) {
    ec = std::make_error_code(std::errc::not_supported);
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
    if (put < 0) return false;
    data += put;
    size -= static_cast<std::size_t>(put);
  }
  return true;
}

/// Tells whether `size` bytes more leave enough free on the folder's volume; true when it cannot be asked.
bool hasRoom(const fs::path& folder, std::uintmax_t size, std::uintmax_t keptFreeBytes) {
  boost::system::error_code ec;
  const std::uintmax_t available = fs::space(folder, ec).available;
  return ec || (available >= keptFreeBytes && available - keptFreeBytes >= size);
}

std::error_code copyBytes(int from, int to, std::uintmax_t bytes) {
  const std::unique_ptr<char[]> buffer(new char[kCopyBufferBytes]);
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

void copyRegularFile(const fs::path& from, const fs::path& to, Overwrite overwrite, std::error_code& ec,
                     std::uintmax_t keptFreeBytes) {
  ec.clear();
  struct stat info {};
  const Descriptor source = openRegular(AT_FDCWD, from.c_str(), Links::kAny, info, ec);
  if (ec) return;
  const auto size = static_cast<std::uintmax_t>(info.st_size);
  if (!hasRoom(to.parent_path(), size, keptFreeBytes)) {
    ec = std::make_error_code(std::errc::no_space_on_device);
    return;
  }
  // Set-id bits never travel: the copy belongs to whoever runs the tool, often root.
  const mode_t mode = (info.st_mode & 0777) | S_IRUSR | S_IWUSR;
  Descriptor target = openTarget(to, mode, overwrite, ec);
  if (ec) return;
  ec = copyBytes(source.get(), target.get(), size);
  if (!target.closeNow() && !ec) ec = lastError();
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

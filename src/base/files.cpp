#include "base/files.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <new>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "base/threads.h"

namespace quelmar {
namespace {

// Too large for the stack: some hosts give threads 512 KiB.
constexpr std::size_t kCopyBufferBytes = 64 * 1024;
constexpr int kMaxLinks = 40;

/// Copies the first `bytes` bytes, wherever the file's offset is: a log's moves with each record.
std::error_code copyBytes(int from, int to, std::uintmax_t bytes) {
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[kCopyBufferBytes]);
  if (!buffer) return std::make_error_code(std::errc::not_enough_memory);
  for (off_t at = 0; bytes > 0;) {
    const auto want = static_cast<std::size_t>(std::min<std::uintmax_t>(bytes, kCopyBufferBytes));
    const ssize_t got = pread(from, buffer.get(), want, at);
    if (got < 0) return lastError();
    if (got == 0) break;
    if (!writeAll(to, buffer.get(), static_cast<std::size_t>(got))) return lastError();
    at += got;
    bytes -= static_cast<std::uintmax_t>(got);
    beat();
  }
  return {};
}

/// Opens what is no link, and reads its status. @return an empty one when `ec` is set
Descriptor openUnfollowed(int parent, const char* name, struct stat& info, std::error_code& ec) {
  Descriptor file(openat(parent, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
  if (!file || fstat(file.get(), &info) != 0) ec = lastError();
  if (!ec && !S_ISREG(info.st_mode)) ec = std::make_error_code(std::errc::not_supported);
  return ec ? Descriptor() : std::move(file);
}

/// See openRegular. @param linksLeft  how many links may follow each other
Descriptor openEntry(int parent, const std::string& name, Links links, int linksLeft, struct stat& info,
                     std::error_code& ec) {
  struct stat seen {};
  ec = lookUp(parent, name.c_str(), seen);
  if (!ec && S_ISLNK(seen.st_mode) && links != Links::kNone && linksLeft > 0) {
    uid_t owner = 0;
    const Place target = targetOfLink(parent, name, links, owner, ec);
    Descriptor file = ec ? Descriptor() : openEntry(target.folder.get(), target.name, links, linksLeft - 1, info, ec);
    if (!ec) ec = judgeLink(links, owner, info.st_uid);
    return ec ? Descriptor() : std::move(file);
  }
  if (!ec && !S_ISREG(seen.st_mode)) ec = std::make_error_code(std::errc::not_supported);
  if (ec) return Descriptor();
  Descriptor file = openUnfollowed(parent, name.c_str(), info, ec);
  // Another process may have exchanged it between the two calls.
  if (!ec && !isSame(info, seen)) ec = std::make_error_code(std::errc::not_supported);
  return ec ? Descriptor() : std::move(file);
}

}  // namespace

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

Descriptor openRegular(int parent, const char* name, Links links, struct stat& info, std::error_code& ec) {
  return openEntry(parent, name, links, kMaxLinks, info, ec);
}

Descriptor openListed(int parent, const char* name, Links links, struct stat& info, std::error_code& ec) {
  ec.clear();
  Descriptor file = openUnfollowed(parent, name, info, ec);
  return ec == std::errc::too_many_symbolic_link_levels ? openRegular(parent, name, links, info, ec) : std::move(file);
}

Descriptor openRegular(const std::string& path, Links links, struct stat& info, std::error_code& ec) {
  const Place place = locate(path, links, ec);
  return ec ? Descriptor() : openEntry(place.folder.get(), place.name, links, kMaxLinks, info, ec);
}

Descriptor makeFile(int parent, const char* name, int flags, mode_t mode, Overwrite overwrite, std::error_code& ec) {
  ec.clear();
  if (overwrite == Overwrite::kYes && unlinkat(parent, name, 0) != 0) ec = lastError();
  Descriptor file(openat(parent, name, flags | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
  if (file) {
    ec.clear();
  } else if (!ec || ec == std::errc::no_such_file_or_directory) {
    ec = lastError();
  }
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
  const Descriptor file = openRegular(AT_FDCWD, path.c_str(), Links::kAny, info, ec);
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

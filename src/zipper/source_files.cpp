#include "zipper/source_files.h"

#include <algorithm>
#include <climits>

#include <zlib.h>

namespace zipper {

using quelmar::EntryKind;
using quelmar::Folder;

SourceFile::SourceFile(int parent, const char* name, const MayBePacked& mayBePacked) {
  struct stat info {};
  std::error_code ec;
  descriptor_ = quelmar::openRegular(parent, name, quelmar::Links::kNone, info, ec);
  isRefused_ = ec ? ec == std::errc::not_supported : !mayBePacked(info);
  error_ = ec ? ec.value() : isRefused_ ? EPERM : 0;
  if (error_ == 0) size_ = static_cast<std::uint64_t>(info.st_size);
}

std::size_t SourceFile::read(char* to, std::size_t size) {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(size_ - position_, size));
  std::size_t count = 0;
  while (count < wanted) {
    const ssize_t got = ::pread(descriptor_.get(), to + count, wanted - count, static_cast<off_t>(position_ + count));
    if (got < 0) error_ = errno;
    if (got <= 0) break;
    count += static_cast<std::size_t>(got);
  }
  position_ = count < wanted ? size_ : position_ + count;  // a file that was shortened ends here
  return count;
}

void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc) {
  crc = ::crc32(0, nullptr, 0);
  while (const std::size_t count = stream.read(buffer.data(), buffer.size())) {
    crc = ::crc32(crc, reinterpret_cast<const Bytef*>(buffer.data()), static_cast<uInt>(count));
  }
  stream.rewind();
}

void filesFromDirectory(Folder folder, const std::string& path, const MayBePacked& mayBePacked, const Lost& lost,
                        const std::function<void(const std::string& path, SourceFile& file)>& each) {
  quelmar::TreeWalk walk(std::move(folder), path,
                         [&](const std::string& unread, const std::error_code& ec) { lost(unread, ec.value()); });
  while (walk.next()) {
    if (walk.hasLeft()) continue;
    std::error_code ec;
    const bool mayBeFolder = walk.kind() == EntryKind::kDirectory || walk.kind() == EntryKind::kUnknown;
    Folder inner = mayBeFolder ? walk.open(ec) : Folder();
    if (!mayBeFolder || quelmar::isNoFolder(ec)) {
      SourceFile file(walk.folder(), walk.name(), mayBePacked);
      each(walk.path(), file);
    } else if (ec) {
      lost(walk.path(), ec.value());
    } else if (!mayBePacked(inner.info)) {
      lost(walk.path(), EPERM);
    } else if (walk.path().size() >= PATH_MAX) {
      lost(walk.path(), ENAMETOOLONG);
    } else {
      walk.enter(std::move(inner));
    }
  }
}

}  // namespace zipper

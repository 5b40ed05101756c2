#include "zipper/archive_file.h"

#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>
#include <unzip.h>
#include <zip.h>

#include "base/files.h"

namespace zipper {
namespace {

using quelmar::Descriptor;
using quelmar::Links;

constexpr mode_t kArchiveMode = 0666;  // less the umask
constexpr std::size_t kCopyBytes = 8192;
constexpr std::string_view kEndRecord("PK\5\6");
constexpr std::string_view kEndRecord64("PK\6\6");
constexpr std::string_view kEndLocator64("PK\6\7");
constexpr std::size_t kEndRecordBytes = 22;
constexpr std::size_t kEndLocator64Bytes = 20;
constexpr off_t kLocalHeaderBytes = 30;
constexpr off_t kLargeFieldsBytes = 20;
constexpr off_t kPlainSizesAt = 18;  // in a local header
constexpr off_t kLeastLarge = 4'294'967'295;
constexpr std::uint64_t kMaxPlainEntries = 65'535;
constexpr std::uint64_t kVersion64 = 45;

/// The library's own functions on `file`, which it neither opens nor closes itself.
zlib_filefunc64_def functionsOn(std::FILE* file) {
  zlib_filefunc64_def functions{};
  fill_fopen64_filefunc(&functions);
  functions.opaque = file;
  functions.zopen64_file = [](voidpf opened, const void*, int) { return opened; };
  functions.zclose_file = [](voidpf, voidpf) { return 0; };
  return functions;
}

/// Appends a number of `size` bytes, least significant first.
void put(std::string& to, std::uint64_t value, std::size_t size) {
  for (; size > 0; --size, value >>= 8U) to += static_cast<char>(value & 0xffU);
}

/// The 64-bit end record and its locator, for an archive with this plain one.
std::string endRecord64(const std::string& plain, std::uint64_t entries) {
  std::string record(kEndRecord64);
  const auto get = [&](std::size_t at) {  // four bytes, least significant first
    std::uint64_t value = 0;
    for (std::size_t i = at + 4; i-- > at;) value = (value << 8U) | static_cast<unsigned char>(plain[i]);
    return value;
  };
  const std::uint64_t size = get(12);  // of the central directory
  const std::uint64_t offset = get(16);
  put(record, 44, 8);  // how many bytes of this record follow
  for (int i = 0; i < 2; ++i) put(record, kVersion64, 2);
  put(record, 0, 8);  // this disk, and the one where the directory begins
  for (int i = 0; i < 2; ++i) put(record, entries, 8);
  put(record, size, 8);
  put(record, offset, 8);
  record += kEndLocator64;
  put(record, 0, 4);
  put(record, offset + size, 8);  // where the 64-bit record is
  put(record, 1, 4);
  return record;
}

}  // namespace

bool ArchiveFile::open(const std::string& path) {
  std::error_code ec;
  struct stat old {};
  oldEntries_ = commentSize_ = 0;
  gaveUp_ = false;
  place_ = locate(path, Links::kAny, ec);
  if (ec) return false;
  old_ = openRegular(place_.folder.get(), place_.name.c_str(), Links::kNone, old, ec);
  if (ec && ec.value() != ENOENT) return false;
  partial_ = place_.name + kPartialSuffix;
  const bool isReady = create(old_ ? old.st_mode & kArchiveMode : kArchiveMode) && (!old_ || copyOld());
  if (isReady) openInLibrary();
  if (file_ && archive_ == nullptr && isHere(partial_, made_)) ::unlinkat(place_.folder.get(), partial_.c_str(), 0);
  if (archive_ == nullptr) file_.reset();
  return archive_ != nullptr;
}

bool ArchiveFile::create(mode_t mode) {
  // Not over an existing file: another run may be writing it, or another user may have put a link there.
  const int flags = O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
  Descriptor created(::openat(place_.folder.get(), partial_.c_str(), flags, mode));
  const bool isReserved = !created && errno == EEXIST;
  const int reopen = O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
  if (isReserved) created = Descriptor(::openat(place_.folder.get(), partial_.c_str(), reopen));
  if (!created || ::fstat(created.get(), &made_) != 0) return false;
  // An empty file of this user's has reserved the name for the archive.
  const bool isOwn = made_.st_uid == ::geteuid() && made_.st_nlink == 1;
  if (isReserved && (!S_ISREG(made_.st_mode) || made_.st_size != 0 || !isOwn)) return false;
  // Another run may have taken it for what a dead one left, and locked it. Not every file system has locks.
  if (::flock(created.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
  // The stdio of some systems reads a block at each seek in a file that may be read.
  file_.reset(::fdopen(created.get(), old_ ? "r+" : "w"));
  if (file_) created.release();
  return file_ && isHere(partial_, made_);
}

bool ArchiveFile::copyOld() {
  char bytes[kCopyBytes];
  ssize_t got = 0;
  while ((got = ::read(old_.get(), bytes, sizeof bytes)) > 0) {
    std::fwrite(bytes, 1, static_cast<std::size_t>(got), file_.get());
  }
  return got == 0 && !failed();
}

void ArchiveFile::openInLibrary() {
  zlib_filefunc64_def functions = functionsOn(file_.get());
  if (old_ && ::lseek(old_.get(), 0, SEEK_CUR) > 0) {
    // Only reading it tells an archive from a file of zeroes, which the library would write over; but an archive
    // without entries cannot be read.
    unz_global_info64 info{};
    char start[kEndRecord.size()];
    const unzFile old = unzOpen2_64(place_.name.c_str(), &functions);
    const bool isEmpty = old == nullptr && ::pread(old_.get(), start, sizeof start, 0) == sizeof start &&
                         std::string_view(start, sizeof start) == kEndRecord;
    const bool isKnown = old != nullptr && unzGetGlobalInfo64(old, &info) == UNZ_OK;
    if (old != nullptr) unzClose(old);
    if (!isKnown && !isEmpty) return;
    oldEntries_ = info.number_entry;
  }
  const char* comment = nullptr;
  archive_ =
      zipOpen2_64(place_.name.c_str(), old_ ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE, &comment, &functions);
  if (archive_ != nullptr && comment != nullptr) commentSize_ = std::strlen(comment);
}

/// Tells whether `file` is what bears this name in the archive's folder.
bool ArchiveFile::isHere(const std::string& name, const struct stat& file) const {
  struct stat found {};
  return !quelmar::lookUp(place_.folder.get(), name.c_str(), found) && quelmar::isSame(found, file);
}

bool ArchiveFile::close(bool whole, std::uint64_t entries) {
  if (archive_ == nullptr) return true;
  const bool isFinished = zipClose(std::exchange(archive_, nullptr), nullptr) == ZIP_OK;
  const bool isNamed = isFinished && whole && completeEndRecord(entries) && finish();
  file_.reset();  // errors that closing could report were seen by fsync in finish()
  old_ = Descriptor();
  return isNamed;
}

bool ArchiveFile::write(off_t at, const std::string& bytes) {
  return ::fseeko(file_.get(), at, SEEK_SET) == 0 &&
         std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) == bytes.size();
}

off_t ArchiveFile::position() const {
  return ::ftello(file_.get());
}

void ArchiveFile::completeEntry(off_t header, std::size_t nameSize, std::uint64_t size) {
  const off_t end = position();
  const off_t data = header + kLocalHeaderBytes + static_cast<off_t>(nameSize) + kLargeFieldsBytes;
  if (end - data < kLeastLarge || size >= static_cast<std::uint64_t>(kLeastLarge)) return;
  std::string sizes;
  put(sizes, size, 8);
  put(sizes, static_cast<std::uint64_t>(end - data), 8);
  const bool isDone =
      write(header + kPlainSizesAt, std::string(8, '\xff')) && write(data - static_cast<off_t>(sizes.size()), sizes);
  if (!isDone || ::fseeko(file_.get(), end, SEEK_SET) != 0) giveUp();
}

/// Adds the 64-bit end record to an archive of more than 65,535 entries when the library has not written one: old
/// versions do so only for large archives, and most readers take the result for damaged.
bool ArchiveFile::completeEndRecord(std::uint64_t entries) try {
  if (entries <= kMaxPlainEntries) return true;
  std::string tail(kEndLocator64Bytes + kEndRecordBytes + commentSize_, '\0');
  const auto size = static_cast<ssize_t>(tail.size());
  std::fflush(file_.get());
  if (::pread(::fileno(file_.get()), tail.data(), tail.size(), position() - size) != size) return false;
  if (tail.compare(0, kEndLocator64.size(), kEndLocator64) == 0) return true;
  tail.erase(0, kEndLocator64Bytes);
  const off_t at = position() - static_cast<off_t>(tail.size());
  return write(at, endRecord64(tail, entries) + tail);
} catch (const std::bad_alloc&) {
  return false;
}

bool ArchiveFile::finish() {
  const int fd = ::fileno(file_.get());
  if (std::fflush(file_.get()) != 0 || failed()) return false;
  // The end of the archive that was added to may have been longer (a comment, 64-bit records).
  const off_t end = ::ftello(file_.get());
  if (end < 0 || ::ftruncate(fd, end) != 0) return false;
  if (::fsync(fd) != 0 && errno != EINVAL && errno != ENOTSUP) return false;
  return isHere(partial_, made_) && publish();
}

bool ArchiveFile::publish() {
  const int folder = place_.folder.get();
  const char* const name = place_.name.c_str();
  struct stat old {};
  if (!old_) {
    // Other than a new name, a link does not replace what another run has finished meanwhile.
    if (::linkat(folder, partial_.c_str(), folder, name, 0) == 0) {
      ::unlinkat(folder, partial_.c_str(), 0);
      return true;
    }
    // Not every file system has hard links.
    if (quelmar::lookUp(folder, name, old).value() != ENOENT) return false;
  } else if (::fstat(old_.get(), &old) != 0 || !isHere(place_.name, old)) {
    return false;
  }
  return ::renameat(folder, partial_.c_str(), folder, name) == 0;
}

}  // namespace zipper

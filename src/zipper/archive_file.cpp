#include "zipper/archive_file.h"

#include <cstring>
#include <new>
#include <string_view>

#include <boost/endian/arithmetic.hpp>
#include <fcntl.h>
#include <sys/file.h>
#include <unzip.h>
#include <zip.h>

#include "base/files.h"

namespace zipper {
namespace {

using boost::endian::little_uint16_t;
using boost::endian::little_uint32_t;
using boost::endian::little_uint64_t;
using quelmar::Descriptor;

constexpr mode_t kArchiveMode = 0666;  // less the umask
constexpr int kMemoryLevel = 8;
constexpr std::string_view kEndRecord("PK\5\6");
constexpr std::string_view kEndLocator64("PK\6\7");
constexpr std::size_t kEndLocator64Bytes = 20;
constexpr off_t kLocalHeaderBytes = 30;
constexpr off_t kLargeFieldsBytes = 20;
constexpr off_t kPlainSizesAt = 18;  // in a local header
constexpr off_t kLeastLarge = 4'294'967'295;
constexpr std::uint64_t kMaxPlainEntries = 65'535;

/// The library's own functions on `file`, which it neither opens nor closes itself.
zlib_filefunc64_def functionsOn(std::FILE* file) {
  zlib_filefunc64_def functions{};
  fill_fopen64_filefunc(&functions);
  functions.opaque = file;
  functions.zopen64_file = [](voidpf opened, const void*, int) { return opened; };
  functions.zclose_file = [](voidpf, voidpf) { return 0; };
  return functions;
}

/// The file information of an entry: null, or for text a flag that the library sets itself when it deflates. Its month
/// is impossible: for that the library writes the date 0, but old versions do not for one that is all zero.
const zip_fileinfo* entryInfo(bool isText) {
  static const zip_fileinfo kText = [] {
    zip_fileinfo info{};
    info.tmz_date.tm_mon = static_cast<decltype(info.tmz_date.tm_mon)>(-1);
    info.internal_fa = Z_TEXT;
    return info;
  }();
  return isText ? &kText : nullptr;
}

/// An archive's end record, which only the comment follows.
struct EndRecord {
  char signature[4];
  little_uint16_t disk, directoryDisk, entriesOfDisk, entries;
  little_uint32_t directoryBytes, directoryAt;
  little_uint16_t commentBytes;
};

/// The 64-bit end record and its locator, which stand before the other.
struct EndRecord64 {
  char signature[4] = {'P', 'K', 6, 6};
  little_uint64_t followingBytes = 44;
  little_uint16_t madeBy = 45, neededVersion = 45;
  little_uint32_t disk = 0, directoryDisk = 0;
  little_uint64_t entriesOfDisk, entries, directoryBytes, directoryAt;
  char locator[4] = {'P', 'K', 6, 7};
  little_uint32_t recordDisk = 0;
  little_uint64_t recordAt;
  little_uint32_t disks = 1;
};

}  // namespace

bool ArchiveFile::open(const std::string& path) {
  std::error_code ec;
  struct stat old {};
  oldEntries_ = added_ = commentSize_ = 0;
  gaveUp_ = false;
  place_ = locate(path, quelmar::Links::kAny, ec);
  if (ec) return false;
  old_ = openRegular(place_.folder.get(), place_.name.c_str(), quelmar::Links::kNone, old, ec);
  if (ec && ec.value() != ENOENT) return false;
  partial_ = place_.name + kPartialSuffix;
  const auto oldSize = static_cast<std::uint64_t>(old.st_size);
  if (create(old_ ? old.st_mode & kArchiveMode : kArchiveMode) &&
      (!old_ || !quelmar::copyBytes(old_.get(), ::fileno(file_.get()), oldSize))) {
    openInLibrary(oldSize > 0);
  }
  if (isOpen()) return true;
  if (file_ && isHere(partial_, made_)) ::unlinkat(place_.folder.get(), partial_.c_str(), 0);
  file_.reset();
  return false;
}

bool ArchiveFile::create(mode_t mode) {
  const int flags = O_RDWR | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC;
  Descriptor created(::openat(place_.folder.get(), partial_.c_str(), flags, mode));
  if (!created || ::fstat(created.get(), &made_) != 0) return false;
  // An empty file of this user's may reserve the name. Anything else is another run's, or planted.
  const bool isEmpty = S_ISREG(made_.st_mode) && made_.st_size == 0;
  if (!isEmpty || made_.st_uid != ::geteuid() || made_.st_nlink != 1) return false;
  // Another run may have taken it for what a dead one left, and locked it. Not every file system has locks.
  if (::flock(created.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) return false;
  // The stdio of some systems reads a block at each seek in a file that may be read.
  file_.reset(::fdopen(created.get(), old_ ? "r+" : "w"));
  if (file_) created.release();
  return file_ && isHere(partial_, made_);
}

void ArchiveFile::openInLibrary(bool hasOld) {
  zlib_filefunc64_def functions = functionsOn(file_.get());
  if (hasOld) {
    // The library would write over what it cannot read, as a file of zeroes; nor can it read an empty archive.
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
  if (comment != nullptr) commentSize_ = std::strlen(comment);
}

bool ArchiveFile::isHere(const std::string& name, const struct stat& file) const {
  struct stat found {};
  return !quelmar::lookUp(place_.folder.get(), name.c_str(), found) && quelmar::isSame(found, file);
}

bool ArchiveFile::beginEntry(const std::string& name, const Entry& entry) {
  header_ = ::ftello(file_.get());
  nameSize_ = name.size();
  // After a failed write this call would fail too, and leak memory.
  return !failed() && zipOpenNewFileInZip3_64(archive_, name.c_str(), entryInfo(entry.isText), nullptr, 0, nullptr, 0,
                                              nullptr, entry.level == 0 ? 0 : Z_DEFLATED, entry.level,
                                              entry.isDeflated ? 1 : 0, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY,
                                              entry.password, entry.crc, entry.isLarge ? 1 : 0) == ZIP_OK;
}

void ArchiveFile::write(const char* data, std::size_t size) {
  if (zipWriteInFileInZip(archive_, data, static_cast<unsigned>(size)) != ZIP_OK) giveUp();
}

bool ArchiveFile::endEntry(std::uint64_t size, unsigned long crc) {
  if (zipCloseFileInZipRaw64(archive_, size, crc) != ZIP_OK) giveUp();
  completeSizes(size);
  if (failed()) return false;
  ++added_;
  return true;
}

bool ArchiveFile::writeAt(off_t at, const void* data, std::size_t size) {
  return ::fseeko(file_.get(), at, SEEK_SET) == 0 && std::fwrite(data, 1, size, file_.get()) == size;
}

/// Gives an entry both 64-bit sizes when only its packed size needs one: old versions of the library leave them 0.
void ArchiveFile::completeSizes(std::uint64_t size) {
  const off_t end = ::ftello(file_.get());
  const off_t data = header_ + kLocalHeaderBytes + static_cast<off_t>(nameSize_) + kLargeFieldsBytes;
  if (end - data < kLeastLarge || size >= static_cast<std::uint64_t>(kLeastLarge)) return;
  const little_uint64_t sizes[] = {size, static_cast<std::uint64_t>(end - data)};
  const bool isDone = writeAt(header_ + kPlainSizesAt, "\xff\xff\xff\xff\xff\xff\xff\xff", 8) &&
                      writeAt(data - static_cast<off_t>(sizeof sizes), sizes, sizeof sizes);
  if (!isDone || ::fseeko(file_.get(), end, SEEK_SET) != 0) giveUp();
}

bool ArchiveFile::close(bool needsEntry) {
  if (archive_ == nullptr) return true;
  const bool isFinished = zipClose(std::exchange(archive_, nullptr), nullptr) == ZIP_OK;
  const bool isNamed = isFinished && (added_ > 0 || !needsEntry) && completeEndRecord() && finish();
  file_.reset();  // errors that closing could report were seen by fsync in finish()
  old_ = Descriptor();
  return isNamed;
}

/// Adds the 64-bit end record for more than 65,535 entries: old versions of the library do so for large archives only.
bool ArchiveFile::completeEndRecord() try {
  if (entries() <= kMaxPlainEntries) return true;
  std::string tail(kEndLocator64Bytes + sizeof(EndRecord) + commentSize_, '\0');
  const auto size = static_cast<ssize_t>(tail.size());
  const off_t end = ::ftello(file_.get());
  std::fflush(file_.get());
  if (::pread(::fileno(file_.get()), tail.data(), tail.size(), end - size) != size) return false;
  if (tail.compare(0, kEndLocator64.size(), kEndLocator64) == 0) return true;
  tail.erase(0, kEndLocator64Bytes);
  EndRecord plain{};
  EndRecord64 large;
  std::memcpy(&plain, tail.data(), sizeof plain);
  large.entriesOfDisk = large.entries = entries();
  large.directoryBytes = plain.directoryBytes;
  large.directoryAt = plain.directoryAt;
  large.recordAt = large.directoryAt + large.directoryBytes;
  const off_t at = end - static_cast<off_t>(tail.size());
  return writeAt(at, &large, sizeof large) && writeAt(at + off_t{sizeof large}, tail.data(), tail.size());
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

#include "zipper/zipper_impl.h"

#include <cstdint>
#include <limits>
#include <stdexcept>

#include "zipper/dir_entry.h"

namespace zipper {
namespace {

constexpr std::size_t kCopyBufferBytes = 8192;
constexpr std::size_t kMaxNameBytes = std::numeric_limits<std::uint16_t>::max();  // its length field's
constexpr int kMemoryLevel = 8;

int compressionLevel(unsigned flags) {
  if ((flags & Zipper::CompressBest) != 0) return 9;
  return (flags & Zipper::CompressFast) != 0 ? 1 : 0;
}

/// The name of a file's entry: what begins at the last occurrence of the folder's name and "/", so that below
/// a folder of the same name entries begin there. Kept on purpose: readers of archives look for such names.
std::string nameInTree(const std::string& file, const std::string& folder) {
  return file.substr(file.rfind(folder + CDirEntry::Separator));
}

/// The file information of an entry: of text for the library to mark it as it does itself when it deflates,
/// none otherwise. Both leave the date and time 0, here by a month before the first one; an all-zero time
/// would make another date in old versions.
const zip_fileinfo* entryInfo(bool text) {
  static const zip_fileinfo kText = [] {
    zip_fileinfo info{};
    info.tmz_date.tm_mon = static_cast<decltype(info.tmz_date.tm_mon)>(-1);
    info.internal_fa = Z_TEXT;
    return info;
  }();
  return text ? &kText : nullptr;
}

/// The archive does not take an entry of this name.
struct EntryError : std::runtime_error {
  explicit EntryError(const std::string& name) : std::runtime_error("Error adding '" + name + "' to zip") {}
};

}  // namespace

Zipper::Impl::Impl(const std::string& zipName, const std::string& password, unsigned threads)
    : zipName_(zipName), password_(password), threads_(threads), buffer_(kCopyBufferBytes) {}

Zipper::Impl::~Impl() {
  close();
}

bool Zipper::Impl::open() {
  const int append = checkFileExists(zipName_) ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE;
  archive_ = file_.open(zipName_, append);
  failed_ = false;
  return archive_ != nullptr;
}

bool Zipper::Impl::add(SourceFile& stream, const std::string& nameInZip, unsigned flags) {
  if (archive_ == nullptr || nameInZip.empty()) return false;
  openEntry(nameInZip, stream, compressionLevel(flags));
  const int result = copy(stream);
  // An entry that could not be read to its end is closed by the library, before the next one or at the end.
  if (result != ZIP_OK && !stream.failed()) failed_ = true;
  return result == ZIP_OK;
}

void Zipper::Impl::checkEntry(const std::string& nameInZip) const {
  // A longer name would make an archive that nobody can read, and nothing can be written after a failure; not
  // every version of the library refuses the one, and none does so without a leak for the other.
  if (nameInZip.size() > kMaxNameBytes || file_.failed()) throw EntryError(nameInZip);
}

void Zipper::Impl::openEntry(const std::string& nameInZip, SourceFile& stream, int level) {
  const int method = level == 0 ? 0 : Z_DEFLATED;
  const int zip64 = isLargeFile(stream) ? 1 : 0;
  checkEntry(nameInZip);
  int result = ZIP_OK;
  if (password_.empty()) {
    result = zipOpenNewFileInZip64(archive_, nameInZip.c_str(), entryInfo(false), nullptr, 0, nullptr, 0,
                                   nullptr, method, level, zip64);
  } else {
    unsigned long crc = 0;
    getFileCrc(stream, buffer_, crc);
    result = zipOpenNewFileInZip3_64(archive_, nameInZip.c_str(), entryInfo(false), nullptr, 0, nullptr, 0,
                                     nullptr, method, level, 0, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY,
                                     password_.c_str(), crc, zip64);
  }
  if (result != ZIP_OK) throw EntryError(nameInZip);
}

int Zipper::Impl::copy(SourceFile& stream) {
  for (;;) {
    const std::size_t count = stream.read(buffer_);
    if (count == 0) return stream.failed() ? ZIP_ERRNO : zipCloseFileInZip(archive_);
    const int result = zipWriteInFileInZip(archive_, buffer_.data(), static_cast<unsigned>(count));
    if (result != ZIP_OK) return result;
  }
}

bool Zipper::Impl::addFile(const std::string& path, const std::string& nameInZip, unsigned flags) {
  SourceFile stream(path);
  return add(stream, nameInZip, flags);
}

void Zipper::Impl::addTree(const std::string& path, unsigned flags) {
  if (archive_ == nullptr) return;
  const std::string folder = fileNameFromPath(path);
  const int level = compressionLevel(flags);
  FileWalk files = filesFromDirectory(path);
  const auto nextPath = [&files](std::string& file) { return files.next(file); };
  // What is stored waits for nothing but the disk, and encryption goes byte by byte through the archive.
  const bool ahead = threads_ > 1 && level > 0 && password_.empty();
  DeflatePipeline pipeline(nextPath, level, ahead ? threads_ : 0);
  for (DeflatePipeline::File file; pipeline.nextFile(file);) {
    const std::string name = nameInTree(file.path, folder);
    if (file.deflated) {
      addDeflated(pipeline, file, name, level);
    } else {
      addFile(file.path, name, flags);
    }
  }
}

void Zipper::Impl::addDeflated(DeflatePipeline& pipeline, const DeflatePipeline::File& file,
                               const std::string& nameInZip, int level) {
  checkEntry(nameInZip);
  int result = zipOpenNewFileInZip2_64(archive_, nameInZip.c_str(), entryInfo(file.text), nullptr, 0, nullptr,
                                       0, nullptr, Z_DEFLATED, level, 1, file.large ? 1 : 0);
  if (result != ZIP_OK) throw EntryError(nameInZip);
  DeflatePipeline::Totals totals;
  for (std::vector<char> piece; result == ZIP_OK && pipeline.nextPiece(piece, totals);) {
    result = zipWriteInFileInZip(archive_, piece.data(), static_cast<unsigned>(piece.size()));
  }
  if (result == ZIP_OK) result = zipCloseFileInZipRaw64(archive_, totals.size, totals.crc);
  if (result != ZIP_OK || totals.torn) failed_ = true;
}

bool Zipper::Impl::close() {
  if (archive_ == nullptr) return true;
  const int result = zipClose(archive_, nullptr);
  archive_ = nullptr;
  return result == ZIP_OK && !failed_ && !file_.failed();
}

}  // namespace zipper

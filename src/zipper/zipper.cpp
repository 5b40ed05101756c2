#include "zipper/zipper.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <vector>

#include <zip.h>

#include "zipper/archive_file.h"
#include "zipper/dir_entry.h"
#include "zipper/source_file.h"

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

/// The archive does not take an entry of this name.
struct EntryError : std::runtime_error {
  explicit EntryError(const std::string& name) : std::runtime_error("Error adding '" + name + "' to zip") {}
};

}  // namespace

class Zipper::Impl {
 public:
  explicit Impl(const Zipper& outer) : outer_(outer), buffer_(kCopyBufferBytes) {}
  ~Impl() { close(); }
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  bool open();
  bool add(SourceFile& stream, const std::string& nameInZip, unsigned flags);
  bool addFile(const std::string& path, const std::string& nameInZip, unsigned flags);
  void addTree(const std::string& path, unsigned flags);
  bool close();

 private:
  void openEntry(const std::string& nameInZip, SourceFile& stream, int level);
  int copy(SourceFile& stream);

  const Zipper& outer_;
  ArchiveFile file_;
  zipFile archive_ = nullptr;
  bool failed_ = false;
  std::vector<char> buffer_;
};

bool Zipper::Impl::open() {
  const int append = checkFileExists(outer_.zipName_) ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE;
  archive_ = file_.open(outer_.zipName_, append);
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

void Zipper::Impl::openEntry(const std::string& nameInZip, SourceFile& stream, int level) {
  const int method = level == 0 ? 0 : Z_DEFLATED;
  const int zip64 = isLargeFile(stream) ? 1 : 0;
  // A longer name would make an archive that nobody can read; not every version of the library refuses it.
  if (nameInZip.size() > kMaxNameBytes) throw EntryError(nameInZip);
  int result = ZIP_OK;
  // Without file information the date and time are 0; an all-zero time gives another date in old versions.
  if (outer_.password_.empty()) {
    result = zipOpenNewFileInZip64(archive_, nameInZip.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr,
                                   method, level, zip64);
  } else {
    unsigned long crc = 0;
    getFileCrc(stream, buffer_, crc);
    result = zipOpenNewFileInZip3_64(archive_, nameInZip.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr,
                                     method, level, 0, -MAX_WBITS, kMemoryLevel, Z_DEFAULT_STRATEGY,
                                     outer_.password_.c_str(), crc, zip64);
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
  const std::string folder = fileNameFromPath(path);
  FileWalk files = filesFromDirectory(path);
  for (std::string file; files.next(file);) addFile(file, nameInTree(file, folder), flags);
}

bool Zipper::Impl::close() {
  if (archive_ == nullptr) return true;
  const int result = zipClose(archive_, nullptr);
  archive_ = nullptr;
  return result == ZIP_OK && !failed_ && !file_.failed();
}

Zipper::Zipper(const std::string& zipName, const std::string& password)
    : zipName_(zipName), password_(password), impl_(std::make_unique<Impl>(*this)) {
  if (!impl_->open()) throw std::runtime_error("Error creating zip in file!");
  open_ = true;
}

Zipper::~Zipper() {
  release();
}

void Zipper::open() {
  if (open_) return;
  if (!impl_) impl_ = std::make_unique<Impl>(*this);
  if (!impl_->open()) throw std::runtime_error("Error opening zip file!");
  open_ = true;
}

bool Zipper::add(const std::string& path, unsigned flags) {
  if (!open_) return true;
  if (isDirectory(path)) {
    impl_->addTree(path, flags);
  } else {
    impl_->addFile(path, (flags & StoreFullPath) != 0 ? path : fileNameFromPath(path), flags);
  }
  return true;
}

void Zipper::close() {
  if (!open_) return;
  open_ = false;
  if (!impl_->close()) throw std::runtime_error("Error closing zip file!");
}

void Zipper::release() {
  open_ = false;
  impl_.reset();
}

}  // namespace zipper

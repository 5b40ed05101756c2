#include "zipper/zipper.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>
#include <vector>

#include <zip.h>
#include <zlib.h>

#include "base/threads.h"
#include "zipper/archive_file.h"
#include "zipper/deflate_pipeline.h"
#include "zipper/source_files.h"

namespace zipper {
namespace {

using quelmar::Descriptor;
using quelmar::Folder;
using quelmar::Links;

constexpr std::size_t kCopyBufferBytes = 8192;
constexpr std::size_t kMaxNameBytes = std::numeric_limits<std::uint16_t>::max();  // its length field's
constexpr int kMemoryLevel = 8;

/// The file information of an entry: null, or for text a flag that the library sets itself when it deflates. Date and
/// time must be 0 in the archive. The library writes 0 for an impossible month, but in old versions another date for a
/// time that is all zero.
const zip_fileinfo* entryInfo(bool text) {
  static const zip_fileinfo kText = [] {
    zip_fileinfo info{};
    info.tmz_date.tm_mon = static_cast<decltype(info.tmz_date.tm_mon)>(-1);
    info.internal_fa = Z_TEXT;
    return info;
  }();
  return text ? &kText : nullptr;
}

/// Tells whether an entry gets the 64-bit size fields: also when only its packed size may need them. Deflating adds 400
/// bytes to a MiB at most.
bool needsLargeFields(const SourceFile& source, int level) {
  constexpr std::uint64_t kMayGrowFrom = 4'290'000'000U;
  return isLargeFile(source) || (level > 0 && source.size() > kMayGrowFrom);
}

}  // namespace

/// One archive, and the deflating of its entries.
class Zipper::Impl {
 public:
  explicit Impl(const std::string& password)
      : password_(password), buffer_(kCopyBufferBytes), tail_(kDictionaryBytes) {}
  ~Impl() { close(); }

  bool isOpen() const { return file_.handle() != nullptr; }
  bool open(const std::string& zipName) {
    added_ = 0;
    return file_.open(zipName);
  }
  void add(const std::string& path, unsigned flags);
  std::uint64_t entries() const { return file_.oldEntries() + added_; }
  /// @return false when that fails, or a write has failed since open(); true when no archive is open
  bool close() { return file_.close(added_ > 0 || !hooks.needsEntry, entries()); }

  Hooks hooks;

 private:
  void addTree(Folder folder, const std::string& path, unsigned flags);
  void addFile(SourceFile& source, const std::string& path, const std::string& name, unsigned flags);
  void addPlainly(SourceFile& source, const std::string& path, const std::string& name, int level);
  void addInPieces(SourceFile& source, const std::string& path, const std::string& name, int level);
  void writeFront();
  void writeAll();
  void openEntry(const std::string& name, int level, bool large, bool deflated, bool text, unsigned long crc);
  void write(const char* data, std::size_t size);
  void entryAdded(int result, const std::string& path);

  const std::string password_;
  ArchiveFile file_;
  std::uint64_t added_ = 0;   // entries since open()
  std::vector<char> buffer_;  // for what is not deflated in pieces
  std::vector<char> tail_;    // the dictionary of a file's next piece

  std::unique_ptr<DeflatePipeline> pipeline_;
  int level_ = 0;  // of pipeline_

  // The entry that is being written.
  off_t header_ = 0;
  std::size_t nameSize_ = 0;
  std::string path_;
  std::uint64_t size_ = 0;
  unsigned long crc_ = 0;
  bool entryIsOpen_ = false;
};

Zipper::Zipper(const std::string& zipName, const std::string& password)
    : zipName_(zipName), password_(password), impl_(std::make_unique<Impl>(password)) {
  if (!impl_->open(zipName)) throw std::runtime_error("Error creating zip in file!");
}

Zipper::~Zipper() = default;

void Zipper::setHooks(Hooks hooks) {
  if (impl_) impl_->hooks = std::move(hooks);
}

void Zipper::open() {
  if (!impl_) impl_ = std::make_unique<Impl>(password_);
  if (!impl_->isOpen() && !impl_->open(zipName_)) throw std::runtime_error("Error opening zip file!");
}

bool Zipper::add(const std::string& path, unsigned flags) {
  if (impl_ && impl_->isOpen() && !path.empty()) impl_->add(path, flags);
  return true;
}

std::uint64_t Zipper::entries() const {
  return impl_ ? impl_->entries() : 0;
}

void Zipper::close() {
  if (impl_ && !impl_->close()) throw std::runtime_error("Error closing zip file!");
}

void Zipper::release() {
  impl_.reset();
}

void Zipper::Impl::add(const std::string& path, unsigned flags) {
  const quelmar::ScopeGuard forget([this] {
    while (pipeline_ && pipeline_->front() != nullptr) pipeline_->pop();
    if (entryIsOpen_) file_.giveUp();
    entryIsOpen_ = false;
  });
  std::error_code ec;
  const auto place = quelmar::locate(path, Links::kAny, ec);
  Folder folder(ec ? Descriptor() : quelmar::openFolder(place.folder.get(), place.name, ec));
  const std::string name = (flags & StoreFullPath) != 0 ? path : fileNameFromPath(path);
  if (!ec && !hooks.mayBePacked(folder.info)) {
    hooks.lost(path, EPERM);
  } else if (!ec) {
    addTree(std::move(folder), path, flags);
  } else if (place.folder && quelmar::isNoFolder(ec)) {
    SourceFile source(place.folder.get(), place.name.c_str(), hooks.mayBePacked);
    addFile(source, path, name, flags);
  } else if (ec.value() == ENOENT || ec.value() == ENAMETOOLONG) {
    SourceFile missing(ec.value());
    addFile(missing, path, name, flags);
  } else {
    hooks.lost(path, ec.value());  // it may be a folder, which must not become an empty file
  }
  writeAll();
}

void Zipper::Impl::addTree(Folder folder, const std::string& path, unsigned flags) {
  // Names begin with the last occurrence of this in the path, so below an inner folder of the same name with that one.
  // Kept on purpose: readers of archives look for such names.
  const std::string nameStart = fileNameFromPath(path) + CDirEntry::Separator;
  try {
    filesFromDirectory(std::move(folder), path, hooks.mayBePacked, hooks.lost,
                       [&](const std::string& file, SourceFile& source) {
                         addFile(source, file, file.substr(file.rfind(nameStart)), flags);
                       });
  } catch (const std::bad_alloc&) {
    writeAll();  // the files before memory ran out
    throw;
  }
}

void Zipper::Impl::addFile(SourceFile& source, const std::string& path, const std::string& name, unsigned flags) {
  if (name.empty()) return;
  // A longer name would make the archive unreadable, and not every version of the library refuses it.
  const bool isTooLong = name.size() > kMaxNameBytes;
  if (isTooLong || source.isRefused()) return hooks.lost(path, isTooLong ? ENAMETOOLONG : source.error());
  const int level = (flags & CompressBest) != 0 ? 9 : (flags & CompressFast) != 0 ? 1 : 0;
  // Storing gains nothing from threads, and encryption depends on all bytes before.
  if (level == 0 || !password_.empty()) {
    addPlainly(source, path, name, level);
  } else {
    addInPieces(source, path, name, level);
  }
  if (source.error() != 0) hooks.lost(path, source.error());
}

void Zipper::Impl::openEntry(const std::string& name, int level, bool large, bool deflated, bool text,
                             unsigned long crc) {
  header_ = file_.position();
  nameSize_ = name.size();
  // After a failed write this call would fail too, and leak memory.
  if (file_.failed() ||
      zipOpenNewFileInZip3_64(file_.handle(), name.c_str(), entryInfo(text), nullptr, 0, nullptr, 0, nullptr,
                              level == 0 ? 0 : Z_DEFLATED, level, deflated ? 1 : 0, -MAX_WBITS, kMemoryLevel,
                              Z_DEFAULT_STRATEGY, password_.empty() ? nullptr : password_.c_str(), crc,
                              large ? 1 : 0) != ZIP_OK) {
    throw std::runtime_error("Error adding '" + name + "' to zip");
  }
}

void Zipper::Impl::write(const char* data, std::size_t size) {
  if (zipWriteInFileInZip(file_.handle(), data, static_cast<unsigned>(size)) != ZIP_OK) file_.giveUp();
}

void Zipper::Impl::entryAdded(int result, const std::string& path) {
  if (result != ZIP_OK) file_.giveUp();
  file_.completeEntry(header_, nameSize_, size_);
  if (file_.failed()) return;
  ++added_;
  hooks.packed(path);
}

void Zipper::Impl::addPlainly(SourceFile& source, const std::string& path, const std::string& name, int level) {
  unsigned long crc = 0;
  if (!password_.empty()) getFileCrc(source, buffer_, crc);
  openEntry(name, level, needsLargeFields(source, level), false, false, crc);
  size_ = 0;
  while (const std::size_t count = source.read(buffer_.data(), buffer_.size())) {
    write(buffer_.data(), count);
    size_ += count;
  }
  entryAdded(zipCloseFileInZip(file_.handle()), path);
}

void Zipper::Impl::addInPieces(SourceFile& source, const std::string& path, const std::string& name, int level) {
  if (level != level_) {
    const unsigned threads = hooks.threads > 0 ? hooks.threads : std::thread::hardware_concurrency();
    pipeline_ = std::make_unique<DeflatePipeline>(level, threads);
    level_ = level;
  }
  bool first = true;
  bool last = false;
  for (std::size_t dictionarySize = 0; !last; first = false) {
    Piece* piece = pipeline_->freePiece();
    for (; piece == nullptr; piece = pipeline_->freePiece()) writeFront();
    if (first) {
      piece->path = path;
      piece->name = name;
      piece->large = needsLargeFields(source, level);
    }
    std::memcpy(piece->data() - dictionarySize, tail_.data(), dictionarySize);
    piece->dictionarySize = dictionarySize;
    piece->size = source.read(piece->data(), kPieceBytes);
    piece->first = first;
    piece->last = last = source.atEnd();
    // Saved now, since deflating overwrites the data.
    dictionarySize = last ? 0 : kDictionaryBytes;
    std::memcpy(tail_.data(), piece->data() + kPieceBytes - dictionarySize, dictionarySize);
    pipeline_->submit();
  }
}

void Zipper::Impl::writeFront() {
  const Piece& piece = *pipeline_->front();
  if (piece.first) {
    path_ = piece.path;  // may throw, as long as the entry is not begun
    size_ = crc_ = 0;
    openEntry(piece.name, level_, piece.large, true, piece.text, 0);
    entryIsOpen_ = true;
  }
  write(piece.packed(), piece.packedSize);
  if (!piece.good) file_.giveUp();
  crc_ = ::crc32_combine(crc_, piece.crc, static_cast<z_off_t>(piece.size));
  size_ += piece.size;
  const bool last = piece.last;
  pipeline_->pop();
  if (!last) return;
  entryIsOpen_ = false;
  entryAdded(zipCloseFileInZipRaw64(file_.handle(), size_, crc_), path_);
}

void Zipper::Impl::writeAll() {
  while (pipeline_ && pipeline_->front() != nullptr) writeFront();
}

}  // namespace zipper

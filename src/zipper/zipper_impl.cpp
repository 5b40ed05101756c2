#include "zipper/zipper_impl.h"

#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

#include "base/scope_guard.h"
#include "zipper/end_record.h"

namespace zipper {
namespace {

using quelmar::utilities::Directory;
using quelmar::utilities::Links;
using quelmar::utilities::openWithoutLinks;

constexpr std::size_t kCopyBufferBytes = 8192;
constexpr std::size_t kMaxNameBytes = std::numeric_limits<std::uint16_t>::max();  // its length field's
constexpr int kMemoryLevel = 8;

/// The file information of an entry: null, or for text a flag that the library sets itself when it deflates.
/// Date and time must be 0 in the archive. The library writes 0 for an impossible month, but in old versions
/// another date for a time that is all zero.
const zip_fileinfo* entryInfo(bool text) {
  static const zip_fileinfo kText = [] {
    zip_fileinfo info{};
    info.tmz_date.tm_mon = static_cast<decltype(info.tmz_date.tm_mon)>(-1);
    info.internal_fa = Z_TEXT;
    return info;
  }();
  return text ? &kText : nullptr;
}

}  // namespace

Zipper::Impl::Impl(const std::string& zipName, const std::string& password, unsigned threads)
    : zipName_(zipName),
      password_(password),
      threads_(threads),
      buffer_(kCopyBufferBytes),
      tail_(kDictionaryBytes) {}

Zipper::Impl::~Impl() {
  close();
}

bool Zipper::Impl::open() {
  struct stat found {};
  const bool exists = !lookUp(AT_FDCWD, zipName_.c_str(), Links::kNone, found);
  archive_ = file_.open(zipName_, exists ? APPEND_STATUS_ADDINZIP : APPEND_STATUS_CREATE);
  entries_ = 0;
  return archive_ != nullptr;
}

void Zipper::Impl::add(const std::string& path, unsigned flags) {
  if (archive_ == nullptr || path.empty()) return;
  const std::string name = fileNameFromPath(path);
  const std::string parentPath = path.substr(0, path.size() - name.size());
  const bool isBelow = !hooks.trusted.empty() && path.compare(0, hooks.trusted.size(), hooks.trusted) == 0 &&
                       path[hooks.trusted.size()] == '/';
  const std::size_t trusted = isBelow ? hooks.trusted.size() : parentPath.size();

  const quelmar::ScopeGuard forget([this] {
    while (pipeline_ && pipeline_->front() != nullptr) pipeline_->pop();
    if (entryIsOpen_) file_.giveUp();
    entryIsOpen_ = false;
  });
  std::error_code ec;
  struct stat status {};
  const Directory parent = openWithoutLinks(parentPath, trusted, ec);
  if (!ec) ec = lookUp(parent.get(), name.empty() ? "." : name.c_str(), Links::kNone, status);
  if (ec && ec.value() != ENOENT) {
    hooks.lost(path, ec.value());
    // A folder whose status cannot be read must not become an empty file.
    if (ec.value() != ENAMETOOLONG) return;
  }
  if (!ec && S_ISDIR(status.st_mode)) {
    addTree(path, trusted, flags);
  } else {
    SourceFile source = ec ? SourceFile() : SourceFile(parent.get(), name.c_str());
    addFile(source, path, (flags & StoreFullPath) != 0 ? path : name, flags);
  }
  writeAll();
}

void Zipper::Impl::addTree(const std::string& path, std::size_t trusted, unsigned flags) {
  // Names begin with the last occurrence of this in the path, so below an inner folder of the same name with
  // that one. Kept on purpose: readers of archives look for such names.
  const std::string nameStart = fileNameFromPath(path) + CDirEntry::Separator;
  FileWalk files(path, trusted, hooks.lost);
  try {
    for (std::string file; files.next(file);) {
      SourceFile source(files.directory(), files.name());
      addFile(source, file, file.substr(file.rfind(nameStart)), flags);
    }
  } catch (const std::bad_alloc&) {
    writeAll();  // the files before memory ran out
    throw;
  }
}

void Zipper::Impl::addFile(SourceFile& source, const std::string& path, const std::string& name,
                           unsigned flags) {
  if (name.empty()) return;
  const int level = (flags & Zipper::CompressBest) != 0 ? 9 : (flags & Zipper::CompressFast) != 0 ? 1 : 0;
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
  // A longer name would make the archive unreadable, and not every version of the library refuses it. After a
  // failed write this call would fail too, and leak memory.
  if (name.size() > kMaxNameBytes || file_.failed() ||
      zipOpenNewFileInZip3_64(archive_, name.c_str(), entryInfo(text), nullptr, 0, nullptr, 0, nullptr,
                              level == 0 ? 0 : Z_DEFLATED, level, deflated ? 1 : 0, -MAX_WBITS, kMemoryLevel,
                              Z_DEFAULT_STRATEGY, password_.empty() ? nullptr : password_.c_str(), crc,
                              large ? 1 : 0) != ZIP_OK) {
    throw std::runtime_error("Error adding '" + name + "' to zip");
  }
}

void Zipper::Impl::write(const char* data, std::size_t size) {
  if (zipWriteInFileInZip(archive_, data, static_cast<unsigned>(size)) != ZIP_OK) file_.giveUp();
}

void Zipper::Impl::entryAdded(int result, const std::string& path) {
  if (result != ZIP_OK) file_.giveUp();
  if (file_.failed()) return;
  ++entries_;
  hooks.packed(path);
}

void Zipper::Impl::addPlainly(SourceFile& source, const std::string& path, const std::string& name,
                              int level) {
  unsigned long crc = 0;
  if (!password_.empty()) getFileCrc(source, buffer_, crc);
  openEntry(name, level, isLargeFile(source), false, false, crc);
  while (const std::size_t count = source.read(buffer_.data(), buffer_.size())) write(buffer_.data(), count);
  entryAdded(zipCloseFileInZip(archive_), path);
}

void Zipper::Impl::addInPieces(SourceFile& source, const std::string& path, const std::string& name,
                               int level) {
  if (level != level_) {
    pipeline_ = std::make_unique<DeflatePipeline>(level, threads_);
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
      piece->large = isLargeFile(source);
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
  entryAdded(zipCloseFileInZipRaw64(archive_, size_, crc_), path_);
}

void Zipper::Impl::writeAll() {
  while (pipeline_ && pipeline_->front() != nullptr) writeFront();
}

bool Zipper::Impl::close() {
  if (archive_ == nullptr) return true;
  bool whole = zipClose(archive_, nullptr) == ZIP_OK && (entries_ > 0 || !hooks.needsEntry);
  archive_ = nullptr;
  whole = whole && completeEndRecord(file_);
  return file_.close(whole);
}

}  // namespace zipper

#include "zipper/zipper.h"

#include <cstring>
#include <stdexcept>

#include <zlib.h>

#include "base/threads.h"
#include "zipper/archive_file.h"
#include "zipper/deflate_pipeline.h"
#include "zipper/source_files.h"

namespace zipper {
namespace {

using quelmar::Folder;

constexpr std::size_t kCopyBufferBytes = 8192;
constexpr std::size_t kMaxNameBytes = 65'535;

/// Tells whether one of an entry's sizes may need the 64-bit fields: deflating adds 400 bytes to a MiB at most.
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
  ~Impl() { file.close(hooks.needsEntry); }

  void add(const std::string& path, unsigned flags) {
    const quelmar::ScopeGuard forget([this] {
      while (pipeline_ && pipeline_->front() != nullptr) pipeline_->pop();
      if (entryIsOpen_) file.giveUp();
      entryIsOpen_ = false;
    });
    std::error_code ec;
    const auto place = quelmar::locate(path, quelmar::Links::kAny, ec);
    Folder folder(ec ? quelmar::Descriptor() : quelmar::openFolder(place.folder.get(), place.name, ec));
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

  Hooks hooks;
  ArchiveFile file;

 private:
  void addTree(Folder folder, const std::string& path, unsigned flags) {
    // Names begin with the last occurrence of this in the path, so below an inner folder of the same name with that
    // one. Kept on purpose: readers of archives look for such names.
    const std::string nameStart = fileNameFromPath(path) + CDirEntry::Separator;
    try {
      filesFromDirectory(std::move(folder), path, hooks.mayBePacked, hooks.lost,
                         [&](const std::string& inner, SourceFile& source) {
                           addFile(source, inner, inner.substr(inner.rfind(nameStart)), flags);
                         });
    } catch (const std::bad_alloc&) {
      writeAll();  // the files before memory ran out
      throw;
    }
  }

  void addFile(SourceFile& source, const std::string& path, const std::string& name, unsigned flags) {
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

  void begin(const std::string& name, const ArchiveFile::Entry& entry) {
    if (!file.beginEntry(name, entry)) throw std::runtime_error("Error adding '" + name + "' to zip");
  }

  void addPlainly(SourceFile& source, const std::string& path, const std::string& name, int level) {
    ArchiveFile::Entry entry;
    entry.level = level;
    entry.isLarge = needsLargeFields(source, level);
    entry.password = password_.empty() ? nullptr : password_.c_str();
    if (!password_.empty()) getFileCrc(source, buffer_, entry.crc);
    begin(name, entry);
    std::uint64_t size = 0;
    while (const std::size_t count = source.read(buffer_.data(), buffer_.size())) {
      file.write(buffer_.data(), count);
      size += count;
    }
    if (file.endEntry(size, 0)) hooks.packed(path);
  }

  void addInPieces(SourceFile& source, const std::string& path, const std::string& name, int level) {
    if (level != level_) {
      const unsigned threads = hooks.threads > 0 ? hooks.threads : std::thread::hardware_concurrency();
      pipeline_ = std::make_unique<DeflatePipeline>(level, threads);
      level_ = level;
    }
    std::size_t dictionarySize = 0;  // of a file's first piece
    for (bool last = false; !last;) {
      Piece* piece = pipeline_->freePiece();
      for (; piece == nullptr; piece = pipeline_->freePiece()) writeFront();
      if (dictionarySize == 0) {
        piece->path = path;
        piece->name = name;
        piece->large = needsLargeFields(source, level);
      }
      std::memcpy(piece->data() - dictionarySize, tail_.data(), dictionarySize);
      piece->dictionarySize = dictionarySize;
      piece->size = source.read(piece->data(), kPieceBytes);
      piece->last = last = source.atEnd();
      // Saved now, since deflating overwrites the data.
      dictionarySize = last ? 0 : kDictionaryBytes;
      std::memcpy(tail_.data(), piece->data() + kPieceBytes - dictionarySize, dictionarySize);
      pipeline_->submit();
    }
  }

  void writeFront() {
    const Piece& piece = *pipeline_->front();
    if (!entryIsOpen_) {
      path_ = piece.path;  // may throw, as long as the entry is not begun
      size_ = crc_ = 0;
      begin(piece.name, {level_, true, piece.text, piece.large});
    }
    file.write(piece.packed(), piece.packedSize);
    if (!piece.good) file.giveUp();
    crc_ = ::crc32_combine(crc_, piece.crc, static_cast<z_off_t>(piece.size));
    size_ += piece.size;
    entryIsOpen_ = !piece.last;
    pipeline_->pop();
    if (!entryIsOpen_ && file.endEntry(size_, crc_)) hooks.packed(path_);
  }

  void writeAll() {
    while (pipeline_ && pipeline_->front() != nullptr) writeFront();
  }

  const std::string password_;
  std::vector<char> buffer_;  // for what is not deflated in pieces
  std::vector<char> tail_;    // the dictionary of a file's next piece

  std::unique_ptr<DeflatePipeline> pipeline_;
  int level_ = 0;  // of pipeline_

  // The file whose pieces are being written.
  std::string path_;
  std::uint64_t size_ = 0;
  unsigned long crc_ = 0;
  bool entryIsOpen_ = false;
};

Zipper::Zipper(const std::string& zipName, const std::string& password)
    : zipName_(zipName), password_(password), impl_(std::make_unique<Impl>(password)) {
  if (!impl_->file.open(zipName)) throw std::runtime_error("Error creating zip in file!");
}

Zipper::~Zipper() = default;

void Zipper::setHooks(Hooks hooks) {
  impl_->hooks = std::move(hooks);
}

void Zipper::open() {
  if (!impl_->file.isOpen() && !impl_->file.open(zipName_)) throw std::runtime_error("Error opening zip file!");
}

bool Zipper::add(const std::string& path, unsigned flags) {
  if (impl_->file.isOpen() && !path.empty()) impl_->add(path, flags);
  return true;
}

std::uint64_t Zipper::entries() const {
  return impl_->file.entries();
}

void Zipper::close() {
  if (!impl_->file.close(impl_->hooks.needsEntry)) throw std::runtime_error("Error closing zip file!");
}

void Zipper::release() {
  impl_ = std::make_unique<Impl>(password_);
}

}  // namespace zipper

#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

#include "base/directories.h"

namespace zipper {

/// What is appended to an archive's name until the archive is complete.
constexpr char kPartialSuffix[] = ".incomplete";

/// The file of an archive, written by the zip library. Until it is complete and on disk, it has the archive's name with
/// kPartialSuffix and is locked (flock). So a file with an archive's name is always complete, and an incomplete one
/// that nobody has locked was left by a dead process. To add to an archive, a copy of it is written.
/// Requires: close() before the end of its life.
class ArchiveFile {
 public:
  /// Opens an archive to add to it, or creates it where there is none.
  /// @return false, with all files unchanged, when it cannot be created, another run is writing one of this name, or
  ///         the existing file is no archive
  bool open(const std::string& path);

  bool isOpen() const { return archive_ != nullptr; }

  /// How many entries the archive has, those included that it had before.
  std::uint64_t entries() const { return oldEntries_ + added_; }

  /// How an entry is written.
  struct Entry {
    int level = 0;            ///< 0 stores
    bool isDeflated = false;  ///< what is written was deflated by the caller, at `level`
    bool isText = false;      ///< told of what was deflated by the caller
    bool isLarge = false;     ///< gets the 64-bit size fields; needed when a size may exceed 32 bits
    const char* password = nullptr;
    unsigned long crc = 0;  ///< needed with a password
  };

  // For an open archive. After a failed write, or giveUp(), the first and the last return false.
  bool beginEntry(const std::string& name, const Entry& entry);
  void write(const char* data, std::size_t size);
  /// @param size  the file's, in bytes
  /// @param crc   the file's CRC-32 when the caller has deflated it
  bool endEntry(std::uint64_t size, unsigned long crc);
  void giveUp() { gaveUp_ = true; }

  /// Finishes and closes the file. It gets the archive's name when nothing has failed and nothing else has got that
  /// name since open(), and not without a new entry when `needsEntry`.
  /// @return whether it has got its name; true when no archive is open
  bool close(bool needsEntry);

 private:
  // The library ignores some failed writes; the file's error indicator, which nobody clears, remembers all of them.
  bool failed() const { return gaveUp_ || std::ferror(file_.get()) != 0; }
  bool create(mode_t mode);
  void openInLibrary(bool hasOld);
  bool writeAt(off_t at, const void* data, std::size_t size);
  void completeSizes(std::uint64_t size);
  bool completeEndRecord();
  bool finish();
  bool publish();
  /// Tells whether `file` is what has this name in the archive's folder.
  bool isHere(const std::string& name, const struct stat& file) const;

  quelmar::Place place_;  // of the complete archive
  std::string partial_;   // the name of the file that is written
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_{nullptr, &std::fclose};
  struct stat made_ {};  // of file_
  // The archive that is added to. It stays open, since another file could get the number of a deleted one.
  quelmar::Descriptor old_;
  std::uint64_t oldEntries_ = 0;
  std::size_t commentSize_ = 0;
  std::uint64_t added_ = 0;  // entries
  // The entry that is being written.
  off_t header_ = 0;
  std::size_t nameSize_ = 0;
  void* archive_ = nullptr;  // the library's handle
  bool gaveUp_ = false;
};

}  // namespace zipper

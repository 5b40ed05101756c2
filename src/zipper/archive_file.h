#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include <sys/stat.h>

#include "base/directories.h"

namespace zipper {

/// What is appended to an archive's name until the archive is complete.
constexpr char kPartialSuffix[] = ".incomplete";

/// The file of an archive, written by the zip library. It bears the archive's name and kPartialSuffix, and is locked
/// (flock), until it is complete and on disk; then it is renamed. So a file with an archive's name is always complete,
/// and an incomplete one that nobody has locked is what a dead process has left. To add to an existing archive, a copy
/// of it is written.
class ArchiveFile {
 public:
  ArchiveFile() = default;
  /// Closes the file; it is not renamed.
  ~ArchiveFile() { close(false, 0); }

  /// Opens an archive to add to it, or creates it where there is none.
  /// @return false when the file cannot be created, when another run is writing an archive of this name, or when the
  ///         existing file is not an archive. Existing files stay unchanged then.
  bool open(const std::string& path);

  /// The zip library's handle; null when no archive is open.
  void* handle() const { return archive_; }

  /// How many entries the archive had that is added to.
  std::uint64_t oldEntries() const { return oldEntries_; }

  /// Where in the file the library writes next. Requires: an open archive.
  off_t position() const;

  /// To be called when an entry was closed: gives the entry both 64-bit sizes when only its packed size needs one. Old
  /// versions of the library leave them 0, and most readers take the entry for damaged.
  /// Requires: the entry was opened with 64-bit fields if its packed size exceeds 32 bits.
  /// @param header  where the entry begins; the sizes of its name and of the file are in bytes
  void completeEntry(off_t header, std::size_t nameSize, std::uint64_t size);

  void giveUp() { gaveUp_ = true; }

  /// Tells whether a write has failed since the archive was opened, or giveUp() was called. The library ignores some
  /// failed writes; the file's error indicator, which nobody clears, remembers all of them.
  /// Requires: an open archive.
  bool failed() const { return gaveUp_ || std::ferror(file_.get()) != 0; }

  /// Finishes the archive, closes its file, and gives it its name when all of it is on disk. Another archive that has
  /// got this name since open() is not replaced.
  /// @param whole    false: it is not renamed in any case
  /// @param entries  how many entries the archive has
  /// @return whether it was renamed; true when no archive is open
  bool close(bool whole, std::uint64_t entries);

 private:
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  bool create(mode_t mode);
  bool copyOld();
  void openInLibrary();
  bool write(off_t at, const std::string& bytes);
  bool completeEndRecord(std::uint64_t entries);
  bool finish();
  bool publish();
  bool isHere(const std::string& name, const struct stat& file) const;

  quelmar::Place place_;  // of the complete archive
  std::string partial_;   // the name of the file that is written
  std::unique_ptr<std::FILE, Close> file_;
  struct stat made_ {};  // of file_
  // The archive that is added to. It stays open, since another file could get the number of a deleted one.
  quelmar::Descriptor old_;
  std::uint64_t oldEntries_ = 0;
  std::size_t commentSize_ = 0;  // of the archive that is added to
  void* archive_ = nullptr;      // the library's handle
  bool gaveUp_ = false;
};

}  // namespace zipper

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <sys/stat.h>

namespace zipper {

/// Writes files and directory trees into one zip archive (deflate, 64-bit where sizes need it). All entries carry the
/// date and time 0 and no attributes of their files.
class Zipper {
 public:
  /// How add() works; a bit set.
  enum zipFlags : unsigned {
    AppendHint = 0x02,     ///< has no effect: an archive that exists is always added to
    CompressFast = 0x08,   ///< deflate at level 1
    CompressBest = 0x10,   ///< deflate at level 9; outweighs CompressFast
    StoreFullPath = 0x40,  ///< a single file's entry is named by the path as given, not by its last component
  };                       // without a level, entries are stored

  /// Further settings.
  struct Hooks {
    /// Called with each path that could not be packed, or not all of it, and the error number: ENOENT for one that is
    /// missing, ENOTSUP for no regular file, EPERM for what `mayBePacked` refuses, ENAMETOOLONG for too long a path.
    std::function<void(const std::string& path, int error)> lost = [](const std::string&, int) {};

    /// Called with each file's path when its entry is complete.
    std::function<void(const std::string& path)> packed = [](const std::string&) {};

    /// Asked for each file and folder that was opened. What is refused, and what is below it, gets no entry.
    std::function<bool(const struct stat& info)> mayBePacked = [](const struct stat&) { return true; };

    /// Whether an archive to which no entry was added counts as failed, and so does not get its name.
    bool needsEntry = false;

    /// How many threads may deflate, the calling one included; 0: one a processor. The archive's bytes stay the same.
    unsigned threads = 0;
  };

  /// Opens the archive at `zipName` to add to it, or creates it; see ArchiveFile.
  /// @param password  entries are encrypted with it (traditional zip encryption); empty for no encryption
  /// @throws std::runtime_error "Error creating zip in file!"
  Zipper(const std::string& zipName, const std::string& password);

  /// Closes the archive; a failure is not reported.
  ~Zipper();

  /// Requires: called before add().
  void setHooks(Hooks hooks);

  /// Opens the archive again, to add to it. No effect when it is open.
  /// @throws std::runtime_error "Error opening zip file!"
  void open();

  /// Adds a file under its bare name, or all files below a directory under names that begin with the directory's own.
  /// Links are followed above `path` only. Only regular files get an entry: with what could be read of them, if
  /// anything. A `path` that does not exist gets an empty one too. No effect when the archive is not open.
  /// @return always true; failed writes are reported by close()
  /// @throws std::runtime_error "Error adding '<entry name>' to zip"; of this call, the entries before it stay
  bool add(const std::string& path, unsigned flags);

  /// How many entries the archive has, old ones included; 0 after release().
  std::uint64_t entries() const;

  /// Finishes the archive and gives it its name. No effect when it is not open.
  /// @throws std::runtime_error "Error closing zip file!" when that fails, or a write has failed since it was opened
  void close();

  /// Closes the archive as the destructor does, and forgets all but its path and password.
  void release();

  class Impl;  ///< not for callers

 private:
  std::string zipName_;
  std::string password_;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zipper

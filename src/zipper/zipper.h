#pragma once

#include <memory>
#include <string>

namespace zipper {

/// Writes files and directory trees into one zip archive (deflate, 64-bit where sizes need it). All entries
/// carry the date and time 0 and no attributes of their files. Not thread-safe.
class Zipper {
 public:
  /// How add() works; a bit set.
  enum zipFlags : unsigned {
    AppendHint = 0x02,     ///< has no effect: an archive that exists is always added to
    CompressFast = 0x08,   ///< deflate at level 1
    CompressBest = 0x10,   ///< deflate at level 9; outweighs CompressFast
    StoreFullPath = 0x40,  ///< a single file's entry is named by the path as given, not by its last component
  };                       // without a level entries are stored as they are

  /// Opens an archive for writing: adds to it when it exists, makes it otherwise.
  /// @param zipName   the archive's path
  /// @param password  entries are encrypted with it (traditional zip encryption); empty for none
  /// @throws std::runtime_error "Error creating zip in file!"
  Zipper(const std::string& zipName, const std::string& password);

  /// Finishes the archive when it is still open. What goes wrong then is not reported.
  ~Zipper();
  Zipper(const Zipper&) = delete;
  Zipper& operator=(const Zipper&) = delete;

  /// Opens the archive again after close() or release(), to add to it. No effect when it is open.
  /// @throws std::runtime_error "Error opening zip file!"
  void open();

  /// Adds a file under its bare name, or all files below a directory under names that begin with the
  /// directory's own. A file that cannot be opened makes an entry without data, one that cannot be read to
  /// its end an entry with what could be read. No effect when the archive is not open.
  /// @param path   the file or directory
  /// @param flags  of zipFlags
  /// @return true in every case; data that could not be written is reported by close().
  /// @throws std::runtime_error "Error adding '<entry name>' to zip" when the archive takes no such entry;
  ///         what it holds so far stands, files after it under the same call are not added.
  bool add(const std::string& path, unsigned flags);

  /// Finishes the archive. No effect when it is not open.
  /// @throws std::runtime_error "Error closing zip file!" when it could not be finished, or something could
  ///         not be written since it was opened: it may be damaged then. It is closed all the same.
  void close();

  /// Finishes the archive as the destructor does and frees everything.
  void release();

  class Impl;  ///< not for callers

 private:
  bool openArchive();

  std::string zipName_;
  std::string password_;
  bool open_ = false;
  std::unique_ptr<Impl> impl_;
};

}  // namespace zipper

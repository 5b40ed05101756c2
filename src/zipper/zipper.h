#pragma once

#include <functional>
#include <memory>
#include <string>

namespace zipper {

/// What is appended to an archive's name until the archive is complete.
constexpr char kPartialSuffix[] = ".incomplete";

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
  };                       // without a level, entries are stored

  /// Further settings.
  struct Hooks {
    /// Called with each path that could not be packed, or not all of it, and the error number of reading,
    /// listing or looking it up; but not for added paths that are missing, and not for entries that are not
    /// regular files.
    std::function<void(const std::string& path, int error)> lost = [](const std::string&, int) {};

    /// Called with each file's path when its entry is complete.
    std::function<void(const std::string& path)> packed = [](const std::string&) {};

    /// A directory, without "/" at its end, below which no link is followed. When add() is given a path
    /// elsewhere, links are followed in all components but the last.
    std::string trusted;

    /// Whether an archive to which no entry was added counts as failed, and so does not get its name.
    bool needsEntry = false;
  };

  /// Opens an archive for writing: adds to it when it exists, creates it otherwise. It is written as
  /// `zipName` + ".incomplete", which must not exist, and renamed when it is complete.
  /// @param zipName   the archive's path
  /// @param password  entries are encrypted with it (traditional zip encryption); empty for no encryption
  /// @throws std::runtime_error "Error creating zip in file!"
  Zipper(const std::string& zipName, const std::string& password);

  /// Finishes the archive when it is still open. A failure is not reported, but only a complete archive is
  /// renamed.
  ~Zipper();
  Zipper(const Zipper&) = delete;
  Zipper& operator=(const Zipper&) = delete;

  /// Sets the hooks. To be called before add(); release() forgets them.
  void setHooks(Hooks hooks);

  /// Opens the archive again after close() or release(), to add to it. No effect when it is open.
  /// @throws std::runtime_error "Error opening zip file!"
  void open();

  /// Adds a file under its bare name, or all files below a directory under names that begin with the
  /// directory's own. A file that cannot be opened, or is a link, gets an entry without data; one that cannot
  /// be read to its end, an entry with what could be read. No effect when the archive is not open, or when
  /// the path exists but its status cannot be read.
  /// @param path   the file or directory
  /// @param flags  of zipFlags
  /// @return always true; failed writes are reported by close().
  /// @throws std::runtime_error "Error adding '<entry name>' to zip" when no such entry can be added. The
  ///         entries before it stay, files after it under the same call are not added.
  bool add(const std::string& path, unsigned flags);

  /// Finishes and renames the archive. No effect when it is not open.
  /// @throws std::runtime_error "Error closing zip file!" when it could not be finished, or a write has
  ///         failed since it was opened; it is closed all the same, but not renamed.
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

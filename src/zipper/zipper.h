#pragma once

#include <functional>
#include <memory>
#include <string>

namespace zipper {

/// What is added to an archive's name until it is finished.
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
  };                       // without a level entries are stored as they are

  /// What a caller may want besides.
  struct Hooks {
    /// Is told of what is lost to the archive, but for added paths that are not there and what is no regular
    /// file: a path, and the number of the error with which its reading, listing or look-up failed.
    std::function<void(const std::string& path, int error)> lost = [](const std::string&, int) {};

    /// Is told of each file when its whole entry is in the archive.
    std::function<void(const std::string& path)> packed = [](const std::string&) {};

    /// No link is followed below this directory; below others none from the added path's last component on.
    std::string trusted;

    /// An archive to which no entry was added is a failure, and does not get its name.
    bool needsEntry = false;
  };

  /// Opens an archive for writing: adds to it when it exists, makes it otherwise. It is written under its
  /// name and
  /// ".incomplete", which must be free, and gets its name when it is finished.
  /// @param zipName   the archive's path
  /// @param password  entries are encrypted with it (traditional zip encryption); empty for none
  /// @throws std::runtime_error "Error creating zip in file!"
  Zipper(const std::string& zipName, const std::string& password);

  /// Finishes the archive when it is still open. What goes wrong then is not reported, but what bears the
  /// archive's name is whole in any case.
  ~Zipper();
  Zipper(const Zipper&) = delete;
  Zipper& operator=(const Zipper&) = delete;

  /// To be called before add(); holds until release().
  void setHooks(Hooks hooks);

  /// Opens the archive again after close() or release(), to add to it. No effect when it is open.
  /// @throws std::runtime_error "Error opening zip file!"
  void open();

  /// Adds a file under its bare name, or all files below a directory under names that begin with the
  /// directory's own. A file that cannot be opened makes an entry without data, and so does a link, which is
  /// never followed; one that cannot be read to its end makes an entry with what could be read. No effect
  /// when the archive is not open, or when nothing can be learned about the path.
  /// @param path   the file or directory
  /// @param flags  of zipFlags
  /// @return true in every case; data that could not be written is reported by close().
  /// @throws std::runtime_error "Error adding '<entry name>' to zip" when the archive takes no such entry;
  ///         what it holds so far stands, files after it under the same call are not added.
  bool add(const std::string& path, unsigned flags);

  /// Finishes the archive. No effect when it is not open.
  /// @throws std::runtime_error "Error closing zip file!" when it could not be finished, or something could
  ///         not be written since it was opened: it has not got its name then. It is closed all the same.
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

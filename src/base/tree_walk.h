#pragma once

#include <deque>
#include <vector>

#include "base/directories.h"

namespace quelmar {

/// An entry's type, from its directory: a link is kLink wherever it leads, kOther is a pipe, socket or device.
/// kUnknown: the directory does not hold the type, and the entry's status could not be read.
enum class EntryKind : char { kFile = 'f', kDirectory = 'd', kLink = 'l', kOther = 'o', kUnknown = '?' };

/// Calls `each` with the type and the name of every entry of an open folder, in listing order. All are listed before
/// the first call, so that entries may be removed. @return the error that ended the listing early
std::error_code forEachEntry(int folder, const std::function<void(EntryKind kind, const char* name)>& each);

/// An open folder and its status when it was opened, by which it is recognised later.
struct Folder {
  Descriptor open;
  struct stat info {};

  Folder() = default;
  explicit Folder(Descriptor opened) : open(std::move(opened)) {
    if (open) fstat(open.get(), &info);
  }
  [[nodiscard]] bool is(const Folder& other) const { return isSame(info, other.info); }
};

/// The folders that a walk is in, each in the one before it. However many they are, only a few are open at a time.
class FolderChain {
 public:
  explicit FolderChain(Folder top) { folders_.push_back(std::move(top)); }

  /// Goes into the folder `name`, which was opened in the last one.
  void enter(Folder folder, const std::string& name);

  /// Goes back to the folder above, which was perhaps closed meanwhile.
  /// @return why it could not be opened again: ENOENT when another one is at its path. last() is -1 then.
  std::error_code leave();

  /// The descriptor of the folder that the walk is in.
  [[nodiscard]] int last() const { return folders_.back().open.get(); }
  [[nodiscard]] const struct stat& info() const { return folders_.back().info; }
  /// Its path below the top folder: empty for that, else it begins with "/".
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const Folder& top() const { return folders_.front(); }

 private:
  std::deque<Folder> folders_;
  std::string path_;
};

/// Walks a tree, depth first, in listing order. Each folder is listed before its first entry is told, so that entries
/// may be removed. No link is followed, and the walk stays in the tree though folders are exchanged. It takes memory
/// for the names of the current folder and those above it, and a few descriptors.
class TreeWalk {
 public:
  /// Told of a folder that could not be listed to its end, or not be opened again for the rest of its entries.
  using Lost = std::function<void(const std::string& path, const std::error_code& ec)>;

  /// @param path  the top folder's path, with which all paths begin
  TreeWalk(Folder top, std::string path, Lost lost);

  /// Goes to the next entry, or back to a folder that was entered and is done. @return false at the end
  bool next();

  /// Tells whether the current entry is a folder that was entered and is done.
  [[nodiscard]] bool hasLeft() const { return hasLeft_; }

  /// Opens the current entry, a folder. @param ec  isNoFolder(ec) when it is none
  Folder open(std::error_code& ec) const { return Folder(openFolder(folder(), name(), ec)); }

  /// Goes into a folder that open() has returned; its entries come next.
  void enter(Folder folder);

  // Of the current entry.
  [[nodiscard]] EntryKind kind() const { return kind_; }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const char* name() const { return path_.c_str() + folderLength() + 1; }
  /// The open folder that it is in, and the folders above.
  [[nodiscard]] int folder() const { return folders_.last(); }
  [[nodiscard]] const FolderChain& folders() const { return folders_; }

 private:
  /// The entries of a folder, as listFolder puts them together, and where the next one begins.
  struct Listing {
    std::string entries;
    std::size_t next = 0;

    [[nodiscard]] bool atEnd() const { return next == entries.size(); }
  };

  void list();
  [[nodiscard]] std::size_t folderLength() const { return topLength_ + folders_.path().size(); }

  Lost lost_;
  std::string path_;
  const std::size_t topLength_;
  EntryKind kind_ = EntryKind::kUnknown;
  bool hasLeft_ = false;
  std::vector<Listing> listings_;  // of the current folder and those above it
  FolderChain folders_;
};

/// Removes the entry `name` of the open folder `parent`: a folder with everything in it, a link but never its target.
/// What is mounted in it stays. After an error the other entries are still removed.
/// @return the first error; no error when nothing is left, or nothing was there
std::error_code removeEntry(int parent, const char* name);

}  // namespace quelmar

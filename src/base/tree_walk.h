#pragma once

#include <deque>
#include <functional>
#include <string>
#include <system_error>
#include <vector>

#include <sys/stat.h>

#include "base/directories.h"

namespace quelmar {

/// An open folder and its status when it was opened, by which it is recognised later.
struct Folder {
  Descriptor open;
  struct stat info {};

  Folder() = default;
  explicit Folder(Descriptor opened);
  [[nodiscard]] bool is(const Folder& other) const { return isSame(info, other.info); }
};

/// The folders that a walk is in, each in the one before it. Only a few of them are open at a time, however deep the
/// tree is.
class FolderChain {
 public:
  explicit FolderChain(Folder top) { enter(std::move(top)); }

  /// Goes into a folder that was opened in the last one.
  void enter(Folder folder);

  /// Goes back to the folder above. When that was closed meanwhile, it is opened again: as "..", or by its path from
  /// the top.
  /// @param path  its path below the top, empty for the top
  /// @return the error of opening it; ENOENT when another folder is there now. last() is -1 then.
  std::error_code leave(const std::string& path);

  /// The descriptor of the folder that the walk is in.
  [[nodiscard]] int last() const { return folders_.back().open.get(); }
  [[nodiscard]] const Folder& top() const { return folders_.front(); }
  [[nodiscard]] const struct stat& info() const { return folders_.back().info; }

 private:
  std::deque<Folder> folders_;
};

/// Walks a tree, depth first, each folder in the order in which the system lists it. A folder is listed in full before
/// its first entry is told, so that entries may be removed. No link is followed, and a folder is opened by its name in
/// its parent, so the walk cannot leave the tree when a folder is exchanged meanwhile. It takes memory for the names of
/// the current folder and those above it, and a few descriptors.
class TreeWalk {
 public:
  enum class Event {
    kEntry,  ///< an entry of the current folder
    kLeft,   ///< a folder that was entered is done, and is now the current entry
    kEnd,
  };
  /// Told of a folder that could not be listed to its end, or not be opened again for the rest of its entries.
  using Lost = std::function<void(const std::string& path, const std::error_code& ec)>;

  /// @param top   the folder to walk in
  /// @param path  its path, with which all paths begin
  TreeWalk(Folder top, std::string path, Lost lost);

  Event next();

  /// Opens the current entry, a folder. @param ec  isNoFolder(ec) when it is none
  Folder open(std::error_code& ec) const;

  /// Goes into a folder that open() has returned; its entries come next.
  void enter(Folder folder);

  [[nodiscard]] EntryKind kind() const { return kind_; }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] const char* name() const { return path_.c_str() + levels_.back().pathLength + 1; }
  /// The open folder that the current entry is in, and the folders above it.
  [[nodiscard]] int folder() const { return folders_.last(); }
  [[nodiscard]] const FolderChain& folders() const { return folders_; }

 private:
  struct Level {
    std::size_t firstName;   // where its names begin in names_
    std::size_t nextName;    // the next one to visit
    std::size_t pathLength;  // the length of the folder's own path in path_
  };

  void list();

  Lost lost_;
  std::string path_;  // of the current entry
  const std::size_t topLength_;
  EntryKind kind_ = EntryKind::kUnknown;
  std::string names_;  // of the current folder and those above it, as listFolder appends them
  std::vector<Level> levels_;
  FolderChain folders_;
};

/// Removes the entry `name` of the open folder `parent`: a folder with everything in it, a link but never its target.
/// What is mounted in it stays. After an error the other entries are still removed.
/// @return the first error; no error when nothing is left, or nothing was there
std::error_code removeEntry(int parent, const char* name);

}  // namespace quelmar

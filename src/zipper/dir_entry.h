#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "base/directory.h"

namespace zipper {

/// Functions on a path.
class CDirEntry {
 public:
  /// The separator of a path's components, "/".
  static const std::string Separator;

  /// Tells whether `path` is a directory; a link counts as what it points to. False when it does not exist.
  static bool isDir(const std::string& path);

  /// The part of `path` after its last Separator: all of it when there is none, nothing when it ends in one.
  static std::string fileName(const std::string& path);
};

/// Tells whether `path` exists; a dangling link does not.
bool checkFileExists(const std::string& path);

/// The same as CDirEntry::isDir.
bool isDirectory(const std::string& path);

/// The same as CDirEntry::fileName.
std::string fileNameFromPath(const std::string& path);

/// Called with a path that could not be read, or not all of it, and the error number.
using Lost = std::function<void(const std::string& path, int error)>;

/// Walks a directory tree and yields everything in it that is not a directory, depth first, each directory in
/// the order in which the system lists it. A directory is listed when the walk reaches it, so only the names
/// of the current directory and those above it are in memory, and only one directory is open. Links are
/// yielded and never followed, so the walk cannot run in circles or leave the tree, not even when a directory
/// is replaced by a link meanwhile.
class FileWalk {
 public:
  /// @param path     the directory to start in; nothing is yielded when it cannot be opened
  /// @param trusted  in how many bytes from the start of `path` links are followed
  /// @param lost     called for each directory that cannot be opened or listed to its end
  FileWalk(std::string path, std::size_t trusted, Lost lost);

  /// Yields the next path: the start directory as given, "/", and the path below it.
  /// @return false, with `file` unchanged, when there are no more.
  bool next(std::string& file);

  /// The open directory of the file that next() has yielded last.
  int directory() const { return directory_.get(); }
  /// That file's name in the directory.
  const char* name() const { return path_.c_str() + levels_.back().pathLength + 1; }

 private:
  struct Level {
    std::size_t firstName;   // where its names begin in names_
    std::size_t nextName;    // the next one to visit
    std::size_t pathLength;  // the length of the directory's own path in path_
  };

  bool open();
  void descend();

  std::string path_;
  const std::size_t trusted_;
  const Lost lost_;
  std::string names_;  // of the current directory and those above it, as Directory::list appends them
  std::vector<Level> levels_;
  quelmar::utilities::Directory directory_;
  std::size_t openLevel_ = 0;  // the level of directory_, counted from 1
};

/// A FileWalk of the directory `path` in which links are followed above that directory only. Errors are
/// ignored.
FileWalk filesFromDirectory(const std::string& path);

}  // namespace zipper

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace zipper {

/// Questions about one path.
class CDirEntry {
 public:
  /// What separates the components of a path: "/".
  static const std::string Separator;

  /// Tells whether `path` is a directory; a link counts as what it points to. False when it does not exist.
  static bool isDir(const std::string& path);

  /// The text after the last Separator of `path`: all of it when there is none, nothing when it ends in one.
  static std::string fileName(const std::string& path);
};

/// Tells whether `path` exists; a dangling link does not.
bool checkFileExists(const std::string& path);

/// CDirEntry::isDir by its free name.
bool isDirectory(const std::string& path);

/// CDirEntry::fileName by its free name.
std::string fileNameFromPath(const std::string& path);

/// Everything below one directory that is not a directory itself, depth first, each directory in the order
/// in which the system lists it. It is found step by step: a directory is listed when the walk reaches it, so
/// that only the names of the levels under way are in memory, and none stays open between two steps.
/// Links to directories are left out, so that no walk runs in circles or leaves the tree.
class FileWalk {
 public:
  /// @param path  the directory to start in (may be a link to one); nothing is found when it cannot be
  /// opened.
  explicit FileWalk(std::string path);

  /// Yields the next path, which is the start directory's as given, "/", and what lies below.
  /// @return false, with `file` unchanged, when there are no more.
  bool next(std::string& file);

 private:
  struct Level {
    std::size_t firstName;   // where its names begin in names_
    std::size_t nextName;    // the one to be looked at next
    std::size_t pathLength;  // what of path_ is the directory itself
  };

  void descend(int extraOpenFlags);

  std::string path_;
  std::string names_;  // of all levels under way: a kind, the name, a zero byte, and so on
  std::vector<Level> levels_;
};

/// The files below the directory `path`, see FileWalk. A directory that cannot be opened contributes none.
FileWalk filesFromDirectory(const std::string& path);

}  // namespace zipper

#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "base/directory.h"

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

/// Takes a path of which something is lost to the archive, and the number of the error.
using Lost = std::function<void(const std::string& path, int error)>;

/// Everything below one directory that is not a directory itself, depth first, each directory in the order
/// in which the system lists it. It is found step by step: a directory is listed when the walk reaches it, so
/// that only the names of the levels under way are in memory, and only one directory is open.
/// Links are found and never followed, so that no walk runs in circles or leaves the tree, nor when a
/// directory is replaced by a link meanwhile.
class FileWalk {
 public:
  /// @param path     the directory to start in; nothing is found when it cannot be opened
  /// @param trusted  how much of `path` may lead through links, in bytes from its start
  /// @param lost     is told of each directory that cannot be opened or listed to its end
  FileWalk(std::string path, std::size_t trusted, Lost lost);

  /// Yields the next path, which is the start directory's as given, "/", and what lies below.
  /// @return false, with `file` unchanged, when there are no more.
  bool next(std::string& file);

  /// The open directory with the file that next() has named last, and the file's name in it.
  int directory() const { return directory_.get(); }
  const char* name() const { return path_.c_str() + levels_.back().pathLength + 1; }

 private:
  struct Level {
    std::size_t firstName;   // where its names begin in names_
    std::size_t nextName;    // the one to be looked at next
    std::size_t pathLength;  // what of path_ is the directory itself
  };

  bool open();
  void descend();

  std::string path_;
  const std::size_t trusted_;
  const Lost lost_;
  std::string names_;  // of all levels under way, as listed
  std::vector<Level> levels_;
  quelmar::utilities::Directory directory_;
  std::size_t openLevel_ = 0;  // whose directory that is, counted from 1
};

/// The files below the directory `path`, see FileWalk. Where that is may be told by a link, but not what it
/// is.
FileWalk filesFromDirectory(const std::string& path);

}  // namespace zipper

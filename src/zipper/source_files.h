#pragma once

#include <cstdint>

#include "base/tree_walk.h"

namespace zipper {

class CDirEntry {
 public:
  inline static const std::string Separator = "/";

  /// Tells whether a directory is at `path`, or where a link there leads.
  static bool isDir(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
  }

  /// The part of `path` after its last Separator; all of it when there is none.
  static std::string fileName(const std::string& path) { return path.substr(path.rfind(Separator) + 1); }
};

/// Tells whether something is at `path`; a dangling link does not count.
inline bool checkFileExists(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

inline bool isDirectory(const std::string& path) {
  return CDirEntry::isDir(path);
}

inline std::string fileNameFromPath(const std::string& path) {
  return CDirEntry::fileName(path);
}

/// Decides by its status whether an open file or folder may be packed.
using MayBePacked = std::function<bool(const struct stat& info)>;

/// Called with a path that could not be packed, or not all of it, and the error number.
using Lost = std::function<void(const std::string& path, int error)>;

/// A file to be packed, as long as it was when it was opened: it may keep growing. One that could not be opened reads
/// as an empty one. Never blocks.
class SourceFile {
 public:
  explicit SourceFile(int error) : error_(error) {}

  /// Opens the regular file `name` in the open folder `parent`.
  SourceFile(int parent, const char* name, const MayBePacked& mayBePacked);

  /// Tells whether it is no regular file, or one that may not be packed.
  [[nodiscard]] bool isRefused() const { return isRefused_; }

  /// In bytes.
  [[nodiscard]] std::uint64_t size() const { return size_; }

  /// Reads the next bytes, at most `size`, to `to`.
  /// @return how many: less than `size` only at the end and after an error
  std::size_t read(char* to, std::size_t size);

  [[nodiscard]] bool atEnd() const { return position_ == size_; }

  /// 0, or the error number of opening or reading it: ENOTSUP for no regular file, EPERM for what may not be packed.
  [[nodiscard]] int error() const { return error_; }

  void rewind() { position_ = 0; }

 private:
  quelmar::Descriptor descriptor_;
  std::uint64_t size_ = 0;
  std::uint64_t position_ = 0;
  int error_ = 0;
  bool isRefused_ = false;
};

/// Tells whether a file needs the 64-bit size fields.
inline bool isLargeFile(const SourceFile& stream) {
  return stream.size() > 4'294'967'294U;
}

/// Computes the CRC-32 of what can be read of a file, through a buffer that is not empty, and goes back to its start.
void getFileCrc(SourceFile& stream, std::vector<char>& buffer, unsigned long& crc);

/// Opens what is below a folder and no folder itself, in listing order, and hands it to `each`. No link is followed.
/// @param path         the folder's path, with which the paths of its files begin
/// @param mayBePacked  asked for each file, and each folder below this one
/// @param lost         told of folders that could not be listed, may not be packed, or have too long a path
void filesFromDirectory(quelmar::Folder folder, const std::string& path, const MayBePacked& mayBePacked,
                        const Lost& lost, const std::function<void(const std::string& path, SourceFile& file)>& each);

}  // namespace zipper

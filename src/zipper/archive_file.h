#pragma once

#include <cstdio>
#include <string>

#include <zip.h>

namespace zipper {

/// The file behind an archive, as the zip library sees it. The library passes over some failing writes;
/// here every one of them is kept in mind.
class ArchiveFile {
 public:
  ArchiveFile() = default;
  ~ArchiveFile();
  ArchiveFile(const ArchiveFile&) = delete;
  ArchiveFile& operator=(const ArchiveFile&) = delete;

  /// Opens an archive through the library. Only a regular file is opened or made, and opening never blocks.
  /// This object must outlive the handle.
  /// @param path    where the archive is or is to be
  /// @param append  APPEND_STATUS_CREATE for a new archive, APPEND_STATUS_ADDINZIP to add to the existing one
  /// @return the library's handle, to be ended with zipClose; null when the file cannot be opened or is no
  ///         archive.
  zipFile open(const std::string& path, int append);

  /// Tells whether anything could not be written since the archive was opened.
  bool failed() const { return failed_; }

 private:
  static voidpf openFile(voidpf self, const void* path, int mode);
  static uLong writeFile(voidpf self, voidpf stream, const void* data, uLong size);
  static long seekFile(voidpf self, voidpf stream, ZPOS64_T offset, int origin);
  static int closeFile(voidpf self, voidpf stream);

  std::FILE* stream_ = nullptr;
  bool failed_ = false;
};

}  // namespace zipper

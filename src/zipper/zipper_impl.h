#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <zip.h>

#include "zipper/archive_file.h"
#include "zipper/deflate_pipeline.h"
#include "zipper/dir_entry.h"
#include "zipper/source_file.h"
#include "zipper/zipper.h"

namespace zipper {

/// The implementation of Zipper: one archive and the library's handle for it.
class Zipper::Impl {
 public:
  /// @param zipName   the archive's path
  /// @param password  encrypts entries unless it is empty
  /// @param threads   how many threads may deflate, the calling one included. The archive's bytes do not
  ///                  depend on it.
  Impl(const std::string& zipName, const std::string& password, unsigned threads);
  ~Impl();

  /// Opens the archive, or creates it. @return false when that fails
  bool open();

  /// Adds a file, or all files below a directory; see Zipper::add.
  void add(const std::string& path, unsigned flags);

  /// Finishes and renames the archive. @return false when that fails, or a write has failed since open();
  /// true when no archive is open
  bool close();

  Hooks hooks;

 private:
  void addTree(const std::string& path, std::size_t trusted, unsigned flags);
  void addFile(SourceFile& source, const std::string& path, const std::string& name, unsigned flags);
  void addPlainly(SourceFile& source, const std::string& path, const std::string& name, int level);
  void addInPieces(SourceFile& source, const std::string& path, const std::string& name, int level);
  void writeFront();
  void writeAll();
  void openEntry(const std::string& name, int level, bool large, bool deflated, bool text, unsigned long crc);
  void write(const char* data, std::size_t size);
  void entryAdded(int result, const std::string& path);

  const std::string zipName_;
  const std::string password_;
  const unsigned threads_;
  ArchiveFile file_;
  zipFile archive_ = nullptr;
  std::uint64_t entries_ = 0;  // added since open()
  std::vector<char> buffer_;   // for what is not deflated in pieces
  std::vector<char> tail_;     // the dictionary of a file's next piece

  std::unique_ptr<DeflatePipeline> pipeline_;
  int level_ = 0;  // of pipeline_

  // The entry that writeFront() is writing.
  std::string path_;
  std::uint64_t size_ = 0;
  unsigned long crc_ = 0;
  bool entryIsOpen_ = false;
};

}  // namespace zipper

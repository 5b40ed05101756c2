#pragma once

#include <string>
#include <vector>

#include <zip.h>

#include "zipper/archive_file.h"
#include "zipper/deflate_pipeline.h"
#include "zipper/end_record.h"
#include "zipper/source_file.h"
#include "zipper/zipper.h"

namespace zipper {

/// What is behind a Zipper: one archive and the library's handle on it.
class Zipper::Impl {
 public:
  /// @param zipName   the archive's path
  /// @param password  encrypts entries unless it is empty
  /// @param threads   how many threads may deflate a directory's files; 0 and 1 leave it to the caller's. The
  ///                  archive is the same, byte for byte.
  Impl(const std::string& zipName, const std::string& password, unsigned threads);
  ~Impl();
  Impl(const Impl&) = delete;
  Impl& operator=(const Impl&) = delete;

  /// Opens the archive, or makes it. False when that fails.
  bool open();

  /// Adds one entry with the data of `stream`.
  /// @return false without an open archive or a name, and when data was lost on the way
  /// @throws std::runtime_error when the archive takes no such entry
  bool add(SourceFile& stream, const std::string& nameInZip, unsigned flags);

  /// Adds one file; see add().
  bool addFile(const std::string& path, const std::string& nameInZip, unsigned flags);

  /// Adds all files below a directory, in the order of filesFromDirectory; see add().
  void addTree(const std::string& path, unsigned flags);

  /// Finishes the archive. False when that fails, or when something could not be written since open(). True
  /// when there is none.
  bool close();

 private:
  void checkEntry(const std::string& nameInZip) const;
  void openEntry(const std::string& nameInZip, SourceFile& stream, int level);
  int copy(SourceFile& stream);
  void addDeflated(DeflatePipeline& pipeline, const DeflatePipeline::File& file, const std::string& nameInZip,
                   int level);

  const std::string zipName_;
  const std::string password_;
  const unsigned threads_;
  ArchiveFile file_{&completeEndRecord};
  zipFile archive_ = nullptr;
  bool failed_ = false;
  std::vector<char> buffer_;
};

}  // namespace zipper

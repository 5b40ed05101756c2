#include "zipper/verify_archive.h"

#include <memory>
#include <type_traits>
#include <vector>

#include <sys/stat.h>
#include <unzip.h>

namespace zipper {
namespace {

constexpr unsigned kReadBufferBytes = 8192;

struct CloseArchive {
  void operator()(unzFile archive) const { unzClose(archive); }
};
using ArchivePtr = std::unique_ptr<std::remove_pointer_t<unzFile>, CloseArchive>;

bool verifyCurrentEntry(unzFile archive, std::vector<char>& buffer) {
  if (unzOpenCurrentFile(archive) != UNZ_OK) return false;
  int count = 0;
  do {
    count = unzReadCurrentFile(archive, buffer.data(), kReadBufferBytes);
  } while (count > 0);
  const bool atEnd = count == 0 && unzeof(archive) == 1;
  // Closing compares the checksum, but only of an entry that was read to its end.
  return unzCloseCurrentFile(archive) == UNZ_OK && atEnd;
}

}  // namespace

bool verifyArchive(const std::string& path) {
  struct stat status {};  // the library would wait at a FIFO
  if (::stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  const ArchivePtr archive(unzOpen64(path.c_str()));
  unz_global_info64 info{};
  if (!archive || unzGetGlobalInfo64(archive.get(), &info) != UNZ_OK) return false;
  std::vector<char> buffer(kReadBufferBytes);
  ZPOS64_T entries = 0;
  int result = info.number_entry == 0 ? UNZ_END_OF_LIST_OF_FILE : unzGoToFirstFile(archive.get());
  while (result == UNZ_OK) {
    if (!verifyCurrentEntry(archive.get(), buffer)) return false;
    ++entries;
    result = unzGoToNextFile(archive.get());
  }
  return result == UNZ_END_OF_LIST_OF_FILE && entries == info.number_entry;
}

}  // namespace zipper

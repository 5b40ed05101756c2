#include "zipper/entry_count.h"

#include <unzip.h>

namespace zipper {

std::optional<std::uint64_t> entryCount(const std::string& path) {
  const unzFile archive = unzOpen64(path.c_str());
  if (archive == nullptr) return std::nullopt;
  unz_global_info64 info{};
  const bool known = unzGetGlobalInfo64(archive, &info) == UNZ_OK;
  unzClose(archive);
  return known ? std::optional<std::uint64_t>(info.number_entry) : std::nullopt;
}

}  // namespace zipper

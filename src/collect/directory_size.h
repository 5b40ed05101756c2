#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quelmar {

/// Adds up the sizes of the regular files in the tree under `dir`. Links and special files add nothing.
/// @param exts  extensions that count, as for isAcceptViaExtName; empty counts every file.
/// @return bytes; what was gathered so far when a folder cannot be read on (logged).
std::uint64_t getDirectorySize(const std::string& dir, const std::vector<std::string>& exts);

}  // namespace quelmar

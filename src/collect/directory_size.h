#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace quelmar {

/// Adds up the sizes of the regular files in the tree under `dir`. Links and special files are not counted.
/// @param exts  the extensions of the files to count, as for isAcceptViaExtName; empty counts every file.
/// @return bytes; of a folder that cannot be listed to its end (logged), only the files listed before the
///         error.
std::uint64_t getDirectorySize(const std::string& dir, const std::vector<std::string>& exts);

}  // namespace quelmar

#pragma once

#include <string>

namespace zipper {

/// Tells whether a file is a whole zip archive: its central directory can be read, and every entry that it
/// names is there, can be inflated, and has the size and the CRC-32 that it tells. Reads all of it.
/// @param path  the archive; entries must not be encrypted
/// @return false when anything of that does not hold, or the file is not a regular file or cannot be opened.
bool verifyArchive(const std::string& path);

}  // namespace zipper

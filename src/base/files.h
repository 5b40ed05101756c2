#pragma once

#include "base/directories.h"

namespace quelmar {

/// Whether an entry that stands at a copy's path is replaced.
enum class Overwrite { kNo, kYes };

/// write(2), repeated until all is written. @return false, with errno set, when that fails
bool writeAll(int fd, const char* data, std::size_t size);

/// Copies a file's first `bytes` bytes, as many as there are, to where `to` stands. Calls beat() with each piece.
/// @return the first error
std::error_code copyBytes(int from, int to, std::uintmax_t bytes);

/// Makes the file `name` in the open folder `parent`. With kYes, what stands there and is no folder is removed.
/// @param ec  cleared, then set when that fails: EEXIST with kNo, with kYes the error of removing what is there
Descriptor makeFile(int parent, const char* name, int flags, mode_t mode, Overwrite overwrite, std::error_code& ec);

/// Copies an open regular file into a new file `name` in the open folder `parent`, as many bytes as it had when it was
/// opened (`info`): it may keep growing. The copy gets the source's permission bits, without set-id and sticky bits,
/// plus read and write for the owner. Calls beat() with each piece.
/// @return the first error, of makeFile or later. What was copied before an error stays.
std::error_code copyOpened(const Descriptor& source, const struct stat& info, int parent, const char* name,
                           Overwrite overwrite);

/// Reads a regular file, following links, up to its first `limit` bytes.
/// @return the bytes; empty when the file cannot be opened, those before the error when reading fails.
std::string readRegularFile(const fs::path& path, std::size_t limit);

}  // namespace quelmar

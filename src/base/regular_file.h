#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>
#include <sys/stat.h>

#include "base/descriptor.h"
#include "base/directory.h"

namespace quelmar::utilities {

enum class Overwrite { kNo, kYes };

/// What copies leave free on the volume, in bytes: the archive needs room there, and the user's machine must
/// not be filled to its last byte.
inline constexpr std::uintmax_t kKeptFreeBytes = 104'857'600;  // 100 MiB

/// Opens the regular file `name` in the open directory `parent` (AT_FDCWD: from the current one) for reading.
/// Never blocks, and opens nothing but regular files: to open a device can already have an effect.
/// @param info  receives the file's status
/// @param ec    cleared, then set when there is no such file: ENOTSUP for anything that is not a regular
///              file, a link that `links` forbids included
/// @return the descriptor; none with `ec` set
Descriptor openRegular(int parent, const char* name, Links links, struct stat& info, std::error_code& ec);

/// Copies the content of a regular file.
///
/// Only regular files are opened, and without ever blocking: a pipe, socket, device or directory at `from`
/// is an error (a link to a regular file is read through). At most as many bytes are copied as the file
/// held when it was opened, so that a file that grows meanwhile cannot keep the copy going; one that
/// shrinks gives what it had. The copy takes the permission bits of `from` without set-id and sticky bits,
/// plus read and write for the owner.
/// @param overwrite  kNo: an existing entry at `to` is an error and stays as it is. kYes: a regular file
///                   there is rewritten; a link or special file there is replaced, never written through.
/// @param ec  cleared, then set to the first error. What was copied by then stays.
/// @param keptFreeBytes  a file that would leave less than this free is not copied at all: the error is
///                       that no space is left.
void copyRegularFile(const boost::filesystem::path& from, const boost::filesystem::path& to,
                     Overwrite overwrite, std::error_code& ec, std::uintmax_t keptFreeBytes = kKeptFreeBytes);

/// Reads the first `limit` bytes of a regular file, opened as above.
/// @return the bytes; empty when the file cannot be opened, what was read when reading fails.
std::string readRegularFile(const boost::filesystem::path& path, std::size_t limit);

}  // namespace quelmar::utilities

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>
#include <sys/stat.h>

#include "base/descriptor.h"
#include "base/directory.h"

namespace quelmar::utilities {

enum class Overwrite { kNo, kYes };

/// Opens the regular file `name` in the open directory `parent` (AT_FDCWD: from the current one) for reading.
/// Never blocks, and opens nothing but regular files: to open a device can already have an effect.
/// @param info  receives the file's status
/// @param ec    cleared, then set when there is no such file: ENOTSUP for anything that is not a regular
///              file, a link that `links` forbids included
/// @return the descriptor; none with `ec` set
Descriptor openRegular(int parent, const char* name, Links links, struct stat& info, std::error_code& ec);

/// What the content of copied files goes through: one serves many copies, one after the other.
using CopyBuffer = std::unique_ptr<char[]>;

/// Copies what openRegular has opened into a file `name`, made anew in the open directory `parent` (AT_FDCWD:
/// from the current one).
///
/// At most as many bytes are copied as the file held when it was opened, so that a file that grows meanwhile
/// cannot keep the copy going; one that shrinks gives what it had. The copy takes the permission bits of the
/// source without set-id and sticky bits, plus read and write for the owner.
/// @param info    the source's status
/// @param buffer  filled when it is used first
/// @return the first error: with kNo that something stands at `name`, which stays as it is; with kYes that
///         what stands there cannot be removed (it is never written to). What was copied by then stays.
std::error_code copyOpened(const Descriptor& source, const struct stat& info, int parent, const char* name,
                           Overwrite overwrite, CopyBuffer& buffer);

/// Copies the content of the regular file `from`, or of one that a link there leads to, to `to`, both as
/// above.
/// @param ec  cleared, then set to the first error: also when the file cannot be opened
void copyRegularFile(const boost::filesystem::path& from, const boost::filesystem::path& to,
                     Overwrite overwrite, std::error_code& ec);

/// Reads the first `limit` bytes of a regular file, opened as above.
/// @return the bytes; empty when the file cannot be opened, what was read when reading fails.
std::string readRegularFile(const boost::filesystem::path& path, std::size_t limit);

}  // namespace quelmar::utilities

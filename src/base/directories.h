#pragma once

#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>

#include "base/directory.h"

namespace quelmar::utilities {

/// What may stand at a path that the tool is about to use: nothing, a regular file with a single link, or a
/// directory.
enum class Expected { kNothing, kFile, kDirectory };

/// Removes the entry at `path` when it is not what is expected there: a symbolic link (never its target), a
/// file with further hard links, a pipe, socket or device. A directory is never removed, and neither is an
/// entry whose status could not be read.
/// @return no error when nothing is left at `path`, or what is expected. After an error the caller must not
///         write to, list, empty, pack or chmod anything by that path.
std::error_code removeUnexpected(const boost::filesystem::path& path, Expected expected = Expected::kFile);

/// Makes sure that there is a directory at `path`: keeps an existing one, replaces anything else by a
/// directory, creates a missing one with all parents.
/// @param links  which links to a directory are accepted at `path`. kNone: none, a link is replaced. kOwn:
///               those of root and the calling user; others and dangling ones are replaced, and it is an
///               error when a folder above `path` is another user's link. kAny: every link; one that does not
///               lead to a directory is kept, and is an error.
/// @param made   when not null: set to true when this call created the directory
/// @return no error when the directory is there
std::error_code claimDirectory(const boost::filesystem::path& path, Links links, bool* made = nullptr);

/// Sets the mode of the directory at `path` to 0777. A link there is not followed.
/// @return the error of opening it or of fchmod
std::error_code openToAllUsers(const boost::filesystem::path& path);

/// As claimDirectory; a directory that it creates, but not its parents, gets mode 0777 whatever the umask is.
/// @param ec  cleared, then set to the error of the step that failed
/// @return true when the directory is there and `ec` is clear. Logs nothing.
bool ensureDirectoryExist(const std::string& dir, std::error_code& ec, Links links = Links::kOwn);

}  // namespace quelmar::utilities

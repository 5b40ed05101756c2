#pragma once

#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>

#include "base/directory.h"

namespace quelmar::utilities {

/// What a name that the tool uses is to hold: nothing yet, a plain file with one link, or a real directory.
enum class Expected { kNothing, kFile, kDirectory };

/// Removes what stands at `path`, a name that the tool is about to use, when it is something else than what
/// is wanted there: a link (never its target), hard link, pipe, socket or device. Only what was seen is
/// removed, and never a directory.
/// @return no error when the name is now free or was seen to hold what is wanted. Otherwise nothing may be
///         written, listed, emptied, packed or given a mode by that name.
std::error_code removeUnexpected(const boost::filesystem::path& path, Expected expected = Expected::kFile);

/// Makes sure that a directory stands at `path`: keeps one that is there, removes whatever else has been seen
/// there, makes a missing one with all parents.
/// @param links  through which links at `path` a directory counts. kNone: others are removed. kOwn: so are
///               links of other users and links to nowhere, and folders above are not entered through a link
///               of another user. kAny: links are kept, one that leads to no directory is an error.
/// @param made   when not null: set to true when this call made the directory
/// @return why no directory could be seen or made there
std::error_code claimDirectory(const boost::filesystem::path& path, Links links, bool* made = nullptr);

/// Gives the directory at `path` mode 0777, never through a link.
std::error_code openToAllUsers(const boost::filesystem::path& path);

/// As claimDirectory; a directory that it makes, not its parents, gets mode 0777 whatever the umask.
/// @param ec  cleared, then set to the error of the step that failed
/// @return true when a directory stands there and no error was recorded. Never throws, logs nothing.
bool ensureDirectoryExist(const std::string& dir, std::error_code& ec, Links links = Links::kOwn);

}  // namespace quelmar::utilities

#pragma once

#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>

namespace quelmar::utilities {

/// Makes sure that a directory stands at `dir`: keeps one that is there with its mode, removes whatever else
/// stands there (a tree whole, a link itself and never its target), creates a missing one with all parents
/// and gives the new directory, not its parents, mode 0777 whatever the umask. A link to a directory counts
/// as that directory only when the calling user or root owns the link: a link that somebody else planted is
/// replaced.
/// @param ec  cleared, then set to the error of the step that failed.
/// @return true when a directory stands there and no error was recorded. Never throws, logs nothing.
bool ensureDirectoryExist(const std::string& dir, std::error_code& ec);

/// Tells whether a directory stands at `path` by the rule above: itself, or through a link that the calling
/// user or root owns.
bool isOwnDirectory(const boost::filesystem::path& path);

/// Removes what stands at a name that the tool is about to write to, unless it is a directory or a plain file
/// with one name: a link, hard link, pipe, socket or device there is somebody else's. A link's target stays
/// untouched. Failure is silent: the write that follows reports it.
void discardForeignEntry(const boost::filesystem::path& path);

}  // namespace quelmar::utilities

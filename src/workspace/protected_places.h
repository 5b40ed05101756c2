#pragma once

#include <string>

namespace quelmar {

/// Finds out whether the housekeeping of an output root would delete something that must stay: the executable, the own
/// log, a folder in /Users, the home of any user whom the system knows or of the SUDO_UID user, or a source of the
/// collection (of all these users). Folders are compared by device and inode, so links and other spellings of a path do
/// not matter.
/// @param root        the output root, which need not exist
/// @param executable  the program's path, relative to the current directory
/// @return the first such place that `root` is or contains; empty when there is none. When a place does not answer
///         within the limit, words that say so.
std::string protectedPlaceIn(const std::string& root, const std::string& executable);

}  // namespace quelmar

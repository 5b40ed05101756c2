#pragma once

#include <string>

namespace quelmar {

/// Finds out whether the housekeeping of an output root would delete something that must stay: a source of
/// the collection (of every user who has a folder in /Users), the executable, the own log, the home of the
/// real, the effective or the SUDO_UID user, or a folder in /Users. Folders are compared by device and inode,
/// so links and other spellings of a path do not matter.
/// @param root        the output root, which need not exist
/// @param executable  the program's path, relative to the current directory
/// @return the first such place that `root` is or contains; empty when there is none; "/Users" when that
///         cannot be listed.
std::string protectedPlaceIn(const std::string& root, const std::string& executable);

}  // namespace quelmar

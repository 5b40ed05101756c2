#pragma once

#include <string>

namespace quelmar {

/// Tells what housekeeping would delete in an output root: a source of the collection (those of every user
/// who has a folder in /Users), the executable, the own log, the home of the real, the effective or the
/// SUDO_UID user, or a folder in /Users. Folders are compared by what they are, whatever they are called.
/// @param executable  the program's path, counted from the current directory
/// @return the first such place that `root` is or holds, or would; empty when there is none
std::string protectedPlaceIn(const std::string& root, const std::string& executable);

}  // namespace quelmar

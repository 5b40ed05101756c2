#pragma once

#include <string>

namespace quelmar {

/// Finds what must stay and the housekeeping of an output root would delete: the executable, the own log, a folder in
/// /Users, anybody's home, or a source of the collection. Folders are compared by device and inode.
/// @param root        the output root, which need not exist
/// @param executable  the program's path, relative to the current directory
/// @return the first such place that `root` is or contains; empty for none; words that say so when one does not answer
std::string protectedPlaceIn(const std::string& root, const std::string& executable);

}  // namespace quelmar

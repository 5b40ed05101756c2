#pragma once

#include <string>

namespace quelmar {

/// Finds what must stay and the housekeeping of an output root would delete: the executable, the own log, a folder in
/// /Users, anybody's home, or a source of the collection. Folders are compared by device and inode.
/// @return the first such place that `root`, which need not exist, is or contains; empty for none; words that say so
///         when one does not answer
std::string protectedPlaceIn(const std::string& root, const std::string& executable);

}  // namespace quelmar

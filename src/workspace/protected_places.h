#pragma once

#include <string>

namespace quelmar {

/// Finds what must stay and the housekeeping of an output root would delete: the executable, the own log, a folder in
/// /Users, anybody's home, or a source of the collection. Folders are compared by device and inode.
/// @param root  need not exist
/// @return the first such place that `root` is or contains; empty when there is none; when a place does not answer, a
///         text that says so
std::string protectedPlaceIn(const std::string& root, const std::string& executable);

}  // namespace quelmar

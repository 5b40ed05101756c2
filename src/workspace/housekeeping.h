#pragma once

#include <string>

#include "base/directory.h"

namespace quelmar {

/// Empties `dir` of everything but the archives (".zip") that lie directly in it; links and special files
/// stay too. What cannot be removed is passed over.
/// @param removeItself  true: removes `dir` as well, with whatever is still in it.
/// @param links         as which links `dir` is followed; another one is not emptied (logged)
void cleanDir(const std::string& dir, bool removeItself, utilities::Links links = utilities::Links::kOwn);

/// Prepares an output root for a new run: cleanDir, then removes the oldest archives (".zip") directly in it,
/// by modification time, until fewer than 5 are left. A file system error ends the removal (logged), and none
/// is removed when not all of them can be seen.
void checkAndCleanLogDir(const std::string& dir, utilities::Links links = utilities::Links::kOwn);

}  // namespace quelmar

#pragma once

#include <string>

#include "base/directory.h"

namespace quelmar {

/// Removes the sub-directories of `dir` and the regular files directly in it, but not archives (".zip").
/// Links and special files directly in it stay. What cannot be removed stays too; that is not logged.
/// @param removeItself  true: then removes `dir` with everything that is still in it.
/// @param links         which links are followed at `dir`; another link is not emptied (logged)
void cleanDir(const std::string& dir, bool removeItself, utilities::Links links = utilities::Links::kOwn);

/// Prepares an output root for a new run: cleanDir, then removes the oldest archives (".zip") directly in it,
/// by modification time, until fewer than 5 are left. A file system error ends the removal (logged); none is
/// removed when the directory cannot be listed to its end or the time of one cannot be read.
/// @param links  which links are followed at `dir`
void checkAndCleanLogDir(const std::string& dir, utilities::Links links = utilities::Links::kOwn);

}  // namespace quelmar

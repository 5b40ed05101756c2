#pragma once

#include <string>

namespace quelmar {

/// Empties `dir` of everything but the archives (".zip") that lie directly in it; links and special files
/// stay too. What cannot be removed is passed over.
/// @param removeItself  true: removes `dir` as well, with whatever is still in it.
void cleanDir(const std::string& dir, bool removeItself);

/// Prepares an output root for a new run: cleanDir, then removes the oldest regular files, by modification
/// time, until fewer than 5 are left. A file system error ends the removal (logged); other exceptions pass
/// through.
void checkAndCleanLogDir(const std::string& dir);

}  // namespace quelmar

#pragma once

#include <string>
#include <vector>

namespace quelmar {

/// Copies the tool's own log into `dir`, overwriting. A failure is logged.
void collectSelf(const std::string& dir);

/// Lists what directly in `dir` is to be packed, in listing order: sub-directories, and regular files whose
/// names, lower-cased, hold neither "tunnel" nor "obreladns". Links and special files are left out.
/// @return full paths; those gathered so far when the listing fails (logged).
std::vector<std::string> collectCacheLogPaths(const std::string& dir);

}  // namespace quelmar

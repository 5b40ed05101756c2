#pragma once

#include <set>
#include <string>
#include <vector>

namespace quelmar {

/// Copies the tool's own log into `dir`, overwriting. A failure is logged.
void collectSelf(const std::string& dir);

/// Lists what directly in `dir` is to be packed, in listing order: sub-directories, and regular files whose
/// names, lower-cased, hold neither "tunnel" nor "obreladns". Links and special files are left out.
/// @param leftovers  names that were there before the collection, and are somebody else's
/// @return full paths; those gathered so far when the listing fails (logged).
std::vector<std::string> collectCacheLogPaths(const std::string& dir,
                                              const std::set<std::string>& leftovers = {});

}  // namespace quelmar

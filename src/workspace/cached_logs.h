#pragma once

#include <set>
#include <string>
#include <vector>

namespace quelmar {

/// Copies the tool's own log into the folder `dir`, replacing an older copy. A failure is logged.
void collectSelf(const std::string& dir);

/// Lists the entries directly in `dir` that are to be packed, in listing order: sub-directories, and regular
/// files whose lower-cased names contain neither "tunnel" nor "obreladns". Links and special files are left
/// out.
/// @param leftovers  names to leave out: entries that were there before the collection, and are another
///                   user's
/// @return full paths; only those listed before an error (logged) when the listing fails.
std::vector<std::string> collectCacheLogPaths(const std::string& dir,
                                              const std::set<std::string>& leftovers = {});

}  // namespace quelmar

#pragma once

#include <functional>
#include <system_error>

#include "base/directories.h"

namespace quelmar::helper {

/// Removes the entry at `path`: a directory with everything in it, a link but never its target. When that fails, sets
/// the entry's permission bits to 0222 (only of a directory, or of a file with a single link) and tries once more. What
/// is mounted below stays. Never throws; a failed permission change is logged.
void ensureRemove(const fs::path& path);

/// As above.
/// @param ec  cleared, then set to the error of the last attempt.
/// @return true when the removal succeeded or nothing was there.
bool ensureRemove(const fs::path& path, std::error_code& ec);

/// How far a tree is gone through: the entries of its folder, or all below it.
enum class Depth { kFolder, kTree };

/// Walks the tree under `root` depth first. Each directory is listed in full before the first callback for its entries,
/// so that callbacks may remove them. Links below `root` are passed to `onFile` and not followed. Failures are logged;
/// the walk goes on with the next entry, or the parent directory.
/// @param beforeDir  called with the path of each sub-directory before its contents; may be empty.
/// @param afterDir   called with the path of each sub-directory after its contents; may be empty.
/// @param onFile     called with the path of each other entry; may be empty.
/// @param depth      kFolder leaves out the contents of the sub-directories
void directoryWalker(const fs::path& root, const std::function<void(const std::string&)>& beforeDir,
                     const std::function<void(const std::string&)>& afterDir,
                     const std::function<void(const std::string&)>& onFile, Depth depth = Depth::kTree);

}  // namespace quelmar::helper

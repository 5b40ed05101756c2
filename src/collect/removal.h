#pragma once

#include "base/directories.h"

namespace quelmar::helper {

/// Removes the entry at `path`: a directory with everything in it but what is mounted there, a link but never its
/// target. When that fails, sets the permission bits of a directory, or of a file with a single link, to 0222 and tries
/// once more. A failed permission change is logged.
void ensureRemove(const fs::path& path);

/// As above. @param ec  cleared, then set to the error of the last attempt. @return true when nothing is there any more
bool ensureRemove(const fs::path& path, std::error_code& ec);

/// How far a tree is gone through: the entries of its folder, or all below it.
enum class Depth { kFolder, kTree };

/// Walks the tree under `root` as TreeWalk does. Failures are logged, and the walk goes on. Callbacks may be empty, and
/// may remove what they are told of.
/// @param beforeDir  called with the path of each sub-directory before its contents, `afterDir` after them
/// @param onFile     called with the path of each other entry, links included
/// @param depth      kFolder leaves out the contents of the sub-directories
void directoryWalker(const fs::path& root, const std::function<void(const std::string&)>& beforeDir,
                     const std::function<void(const std::string&)>& afterDir,
                     const std::function<void(const std::string&)>& onFile, Depth depth = Depth::kTree);

}  // namespace quelmar::helper

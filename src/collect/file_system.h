#pragma once

#include <functional>
#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>

#include "base/directory.h"

namespace quelmar::helper {

/// Removes what stands at `path`, a tree whole, a link itself and never its target. When that fails, sets
/// the entry's permission bits to 0222 (unless it is a link) and tries once more. Never throws; an
/// exception of the permission change is logged.
void ensureRemove(const boost::filesystem::path& path);

/// As above.
/// @param ec  cleared, then set to the error of the last attempt.
/// @return true when the removal succeeded or nothing was there.
bool ensureRemove(const boost::filesystem::path& path, std::error_code& ec);

/// Walks the tree under `root` depth first. Takes the listing of a level before it calls back, so that
/// callbacks may remove what they are handed. Links are handed out as files and never followed. Failures are
/// logged and the walk goes on with the next entry, or the outer level.
/// @param beforeDir  called with each sub-directory before its contents; may be empty.
/// @param afterDir   called with each sub-directory after its contents; may be empty.
/// @param onFile     called with each other entry; may be empty.
/// @param links      as which links `root` itself is followed
void directoryWalker(const boost::filesystem::path& root,
                     const std::function<void(const std::string&)>& beforeDir,
                     const std::function<void(const std::string&)>& afterDir,
                     const std::function<void(const std::string&)>& onFile,
                     utilities::Links links = utilities::Links::kOwn);

}  // namespace quelmar::helper

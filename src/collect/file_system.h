#pragma once

#include <functional>
#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>

#include "base/directory.h"
#include "collect/file_selection.h"

namespace quelmar::helper {

using logutils::FileFilter;

/// Removes what stands at `path`, a tree whole, a link itself and never its target. When that fails, sets
/// the entry's permission bits to 0222 (unless it is a link) and tries once more. Never throws; an
/// exception of the permission change is logged.
void ensureRemove(const boost::filesystem::path& path);

/// As above.
/// @param ec  cleared, then set to the error of the last attempt.
/// @return true when the removal succeeded or nothing was there.
bool ensureRemove(const boost::filesystem::path& path, std::error_code& ec);

/// Copies the tree under `src` into `dst`, which is created with its parents; a non-directory at `dst` is
/// replaced. Existing files are kept. Sub-directories are entered, links to directories are not; files are
/// copied as utilities::copyRegularFile does, one that cannot be copied is passed over in silence. That
/// there is no room for a file is logged.
/// @param filter  asked for each file with its source path; unset accepts all.
/// @return no error when the walk ended, else why it could not begin or go on (a missing source, a failed
///         destination: logged; an unreadable source folder: not logged).
std::error_code copyDir(const boost::filesystem::path& src, const boost::filesystem::path& dst,
                        const FileFilter& filter);

/// Copies the files directly inside `sourceDir` that the filter accepts into `destDir`, overwriting.
/// @param filter  must be set.
/// @param flag    has no effect; kept because callers pass it.
/// @return true when the walk ended, whatever became of the single copies; false when the source is missing
///         or the destination cannot be made (logged).
bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter,
                  bool flag);

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

#pragma once

#include <string>
#include <system_error>

#include <boost/filesystem/path.hpp>

#include "collect/file_selection.h"

namespace quelmar::helper {

using logutils::FileFilter;

/// Copies the tree under `src` into `dst`, which is created with its parents; a non-directory at `dst`, or at
/// a sub-directory's place in it, is replaced. Existing files are kept. Links to directories are not entered;
/// files are copied as utilities::copyOpened does, links to files as what they lead to.
///
/// Files and folders are opened by their names in the folder before, never by their whole paths, and folders
/// never through a link. So a tree may be as deep and its paths as long as they like, as long as the copies
/// have paths that the system takes; a few descriptors are open, however deep the walk is.
///
/// A file is copied only when that leaves room for the largest one that this process has copied, which
/// packing needs, and 100 MiB, which the user's machine must not be without. What is lost is logged, the
/// first of each error number whole. Silent are single files that may not be opened or have gone, special
/// files, links that lead to no file, and files whose copy is there. Not for two threads at a time.
/// @param filter  asked for each file with its source path; unset accepts all.
/// @return no error when the walk ended, else why it could not begin or list all of `src` (a missing source,
///         a failed destination).
std::error_code copyDir(const boost::filesystem::path& src, const boost::filesystem::path& dst,
                        const FileFilter& filter);

/// Copies the files directly inside `sourceDir` that the filter accepts into `destDir` as above, but replaces
/// existing ones.
/// @param filter  must be set.
/// @param flag    has no effect; kept because callers pass it.
/// @return true when the walk ended, whatever became of the single copies; false when the source is missing
///         or the destination cannot be made (logged).
bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter,
                  bool flag);

/// Copies one file, or what a link there leads to, in place of what stands at `target`, when that leaves room
/// as above; else the error is that no space is left. Logs nothing.
/// @param worthLogging  whether a failure is none of those that stay silent above
std::error_code copyOneFile(const boost::filesystem::path& source, const boost::filesystem::path& target,
                            bool& worthLogging);

}  // namespace quelmar::helper

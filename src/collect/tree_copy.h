#pragma once

#include <string>
#include <system_error>

#include "collect/removal.h"
#include "collect/selection.h"

namespace quelmar::helper {

using logutils::FileFilter;

/// Copies the tree under `src` into `dst`, which is created with its parents. Anything that is not a directory at
/// `dst`, or where a sub-directory goes, is replaced; existing files are kept. Links to directories are not followed. A
/// link to a file is copied as that file when the link is root's or the calling user's, or its owner owns the file; the
/// same goes for links above `src`. A file with further names that others may not read is not copied from a folder
/// where one of them may have made the name. However long the source's paths are (only the copies' may not exceed the
/// system's limit) and however deep the tree is, a few descriptors are open at a time. A file is copied only when the
/// volume keeps 100 MiB free after that, for the user, and as much again as the largest file that this process has
/// copied, for packing. Failures are logged: for each error number the first with its paths, the others as a count. Not
/// logged are isUsualLoss errors, links that do not lead to a file, and files whose copy exists already. Calls beat
/// with each entry and each piece of a file.
/// @param filter  called with each file's source path; empty accepts all.
/// @return the error when `src` is missing or cannot be listed to its end, or `dst` cannot be made (all logged); no
///         error otherwise, whatever became of single files and sub-directories.
std::error_code copyDir(const fs::path& src, const fs::path& dst, const FileFilter& filter);

/// Copies the files directly in `sourceDir` that the filter accepts into `destDir`, as copyDir does, but replaces
/// existing files.
/// @param filter  must be set.
/// @param flag    has no effect; kept because callers pass it.
/// @return false when the source is missing or the destination cannot be made (logged); true otherwise, whatever became
///         of single files.
bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter, bool flag);

/// Copies one file, following links as copyDir does, to `target`, where an existing entry is replaced. Logs nothing.
/// @return the error of opening or copying it; ENOSPC when it does not fit as described at copyDir.
std::error_code copyOneFile(const fs::path& source, const fs::path& target);

/// Tells whether an error of opening a source's file is one that healthy machines give, and is not logged: the file has
/// gone, may not be read, or is not a regular file.
bool isUsualLoss(const std::error_code& ec);

}  // namespace quelmar::helper

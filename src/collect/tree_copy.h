#pragma once

#include "collect/removal.h"
#include "collect/selection.h"

namespace quelmar::helper {

using logutils::FileFilter;

/// Copies the tree under `src` into `dst`, which is made with its parents. What is no directory at `dst`, or where a
/// sub-directory goes, is replaced; existing files are kept. The tree may be of any depth.
///
/// Not copied are: what links to directories lead to; files behind links that Links::kJudged forbids, which holds above
/// `src` too; a file with further names that others may not read, in a folder where one of them may have made the name;
/// files whose copy's path would be too long; and files after which the volume would not have free 100 MiB, and as much
/// again as the largest file that this process has copied, which packing needs.
///
/// Losses are logged: for each error number the first with its paths, the others as a count. Not logged are isUsualLoss
/// errors, links that lead to no file, and files whose copy exists. Calls beat with each entry and each piece of a
/// file.
/// @param filter  called with each file's source path; empty accepts all
/// @return the error when `src` cannot be opened or `dst` not be made (logged); no error whatever else is lost
std::error_code copyDir(const fs::path& src, const fs::path& dst, const FileFilter& filter);

/// Copies the files directly in `sourceDir` that the filter accepts into `destDir`, as copyDir does, but replaces
/// existing files.
/// @param filter  must be set.
/// @param flag    has no effect; kept because callers pass it.
/// @return false when the source is missing or the destination cannot be made (logged)
bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter, bool flag);

/// Copies one file, following links as copyDir does, to `target`, where an existing entry is replaced. Logs nothing.
/// @return the error of opening or copying it; ENOSPC when it does not fit as described at copyDir.
std::error_code copyOneFile(const fs::path& source, const fs::path& target);

/// Tells whether an error of opening a source's file occurs on healthy machines, and so is not logged: the file has
/// gone, may not be read, or is no regular file.
bool isUsualLoss(const std::error_code& ec);

}  // namespace quelmar::helper

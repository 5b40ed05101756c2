#pragma once

#include "collect/removal.h"
#include "collect/selection.h"

namespace quelmar::helper {

using logutils::FileFilter;

/// Copies the tree under `src`, of any depth, into `dst`, which is made with its parents. What is no directory at `dst`
/// or where a sub-directory goes is replaced; existing files are kept. Calls beat with each entry.
/// Not copied are: what links to directories lead to; files behind links that Links::kJudged forbids, which holds above
/// `src` too; a file with further names that others may not read, in a folder where one of them may have made the name;
/// files whose copy's path would be too long; and files after which the volume would not have free 100 MiB, and as much
/// again as the largest file that this process has copied, which packing needs.
/// Logged through Losses, but not isUsualLoss errors, links that lead to no file, and files whose copy exists.
/// @param filter  called with each file's source path; empty accepts all
/// @return the error when `src` cannot be opened or `dst` not be made (logged); no error whatever else is lost
std::error_code copyDir(const fs::path& src, const fs::path& dst, const FileFilter& filter);

/// Copies the files directly in `sourceDir` that `filter`, which must be set, accepts into `destDir`, as copyDir does,
/// but replaces existing files. `flag` has no effect; kept because callers pass it.
/// @return false when the source cannot be opened or the destination not be made (logged)
bool copyFile2Dir(const std::string& sourceDir, const std::string& destDir, const FileFilter& filter, bool flag);

/// Copies one file, following links as copyDir does, to `target`, where an existing entry is replaced. Logs nothing.
/// @return the error of opening or copying it; ENOSPC when it does not fit as described at copyDir
std::error_code copyOneFile(const fs::path& source, const fs::path& target);

/// Tells whether an error of opening a source's file occurs on healthy machines, and so is not logged: the file has
/// gone, may not be read, or is no regular file.
bool isUsualLoss(const std::error_code& ec);

}  // namespace quelmar::helper

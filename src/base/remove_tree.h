#pragma once

#include <system_error>

#include <boost/filesystem/path.hpp>

namespace quelmar::utilities {

/// Removes the entry at `path`: a directory with everything in it, a link but never its target. Each
/// directory is opened, without following links, before its entries are removed, so a directory that is
/// replaced by a link meanwhile does not redirect the removal. After an error the other entries are still
/// removed. Takes one descriptor for each level.
/// @return the first error; no error when nothing is left at `path`, or nothing was there. Logs nothing.
std::error_code removeTree(const boost::filesystem::path& path);

}  // namespace quelmar::utilities

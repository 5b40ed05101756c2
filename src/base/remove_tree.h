#pragma once

#include <system_error>

#include <boost/filesystem/path.hpp>

namespace quelmar::utilities {

/// Removes what stands at `path`: a tree whole, a link itself and never its target. Every level is opened
/// before it is emptied and never through a link, so that a folder that is swapped for a link meanwhile leads
/// nowhere. Goes on after an error with the other entries.
/// @return the first error; none when nothing is left at `path`, or nothing was there. Never throws for a
///         file system error, logs nothing.
std::error_code removeTree(const boost::filesystem::path& path);

}  // namespace quelmar::utilities

#pragma once

#include <string>

#include "base/directory.h"

namespace quelmar {

/// Settles the output root: `root` when it is not empty and a directory can be ensured there, else the
/// default "/tmp/oBrelaLog", which `root` then names. A root that cannot be used is abandoned in silence, one
/// whose housekeeping would delete what is to stay (see protectedPlaceIn) with a warning.
/// @param executable  the program's path, counted from the current directory
/// @param links       when not null: set to the links as which the settled root is to be followed
/// @return true when `root` names a usable directory; false when the default fails too (logged; `root`
///         unchanged).
bool ensureLogRootDir(std::string& root, const std::string& executable = {},
                      utilities::Links* links = nullptr);

/// Tells whether the volume that holds `path` has less than 500 MiB available to an unprivileged user. When
/// the volume cannot be asked, whatever figure the query left decides.
bool checkDiskIsFull(const std::string& path);

/// Limits each report to an eighth of what is available on the volume of `root` now, and to 1 GiB: a command
/// that prints for ever would fill the volume, and there would be no room for the archive.
void limitReports(const std::string& root);

/// Builds an archive's file name: "oBrelaLog_", the client product's version, "_", the local time as
/// "%Y%m%d%H%M%S", ".zip".
/// @return true when `name` was set; false, with `name` as it was, when anything threw.
bool getZipFileName(std::string& name);

/// The full path of the archive to be written into `root`: the next second's when another run is at work on
/// one of this second. An empty string when no name could be had (logged).
std::string initZipLogPath(const std::string& root);

}  // namespace quelmar

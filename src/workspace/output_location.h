#pragma once

#include <string>

#include "base/directory.h"

namespace quelmar {

/// Chooses and prepares the output root: `root` when it is not empty and can be used, else the default
/// "/tmp/oBrelaLog". A root that cannot be created is given up without a log record; one whose housekeeping
/// would delete something that must stay (see protectedPlaceIn), with a warning.
/// @param root        the folder that the user has named; receives the default when that is used
/// @param executable  the program's path, relative to the current directory
/// @param links       when not null: receives which links are to be followed at the chosen root
/// @return true when `root` is a usable directory; false when the default cannot be used either (logged;
///         `root` is unchanged).
bool ensureLogRootDir(std::string& root, const std::string& executable = {},
                      utilities::Links* links = nullptr);

/// Tells whether less than 500 MiB are available to an unprivileged user on the volume of `path`. When the
/// query fails, the value that it leaves decides.
bool checkDiskIsFull(const std::string& path);

/// Limits each report to an eighth of the space that is available on the volume of `root` now, and to 1 GiB,
/// so that a command that prints for ever cannot take the room that the archive needs.
void limitReports(const std::string& root);

/// Builds an archive's file name: "oBrelaLog_2.5.16.20_", the local time as "%Y%m%d%H%M%S", ".zip".
/// @return true when `name` was set; false, with `name` unchanged, after any exception.
bool getZipFileName(std::string& name);

/// The path of the archive to be written into `root`, with the current time in its name, or a later second
/// when another run is writing an archive of that name. Empty when no name could be built (logged).
std::string initZipLogPath(const std::string& root);

}  // namespace quelmar

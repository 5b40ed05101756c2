#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace quelmar {

/// Copies the tool's own log into `dir`, replacing an older copy. A failure is logged.
void collectSelf(const std::string& dir);

/// Lists the entries directly in `dir` that are to be packed, in listing order: sub-directories, and regular files
/// whose lower-cased names contain neither "tunnel" nor "obreladns". Links and special files are left out.
/// @return full paths, as far as the folder can be listed (logged)
std::vector<std::string> collectCacheLogPaths(const std::string& dir);

/// Builds an archive's file name: "oBrelaLog_2.5.16.20_", the local time as "%Y%m%d%H%M%S", ".zip".
/// @return true when `name` was set; false, with `name` unchanged, after any exception.
bool getZipFileName(std::string& name, std::chrono::system_clock::time_point time = std::chrono::system_clock::now());

/// Reserves a name for the archive in `root`, by an empty file with the suffix of an unfinished archive. A later second
/// than now is taken when another run, or what is no archive of the calling user's, has the name.
/// @return the archive's path; empty when no name could be built (logged)
std::string initZipLogPath(const std::string& root);

/// Packs files and directories into the zip archive at `zipPath`, deflated at level 9, under their bare names. An
/// archive that exists there is added to; see ArchiveFile. The first failure ends the packing (logged), and the archive
/// has what was packed before. When that is nothing, or the archive could not be written, its unfinished file stays.
/// What cannot be read is logged, except added paths that are missing.
/// @param copies   unless empty, a folder of the tool's own: each file below it is removed as soon as it is in the
///                 archive. Only its owner's regular files with one link and folders are packed; others are logged
/// @param entries  when not null: receives the number of the archive's entries, 0 when there is no archive
/// @return always 0
int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath, const std::string& copies = "",
                 std::uint64_t* entries = nullptr);

}  // namespace quelmar

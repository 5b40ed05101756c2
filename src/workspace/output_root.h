#pragma once

#include <string>

namespace quelmar {

/// How archives' names begin.
inline constexpr const char* kArchivePrefix = "oBrelaLog_";

/// Chooses the output root, makes it, holds it open (see hold) and locks it, unless another run has done that: `root`
/// when the user has named one that can be used, else the default "/tmp/oBrelaLog", which it receives then. A root that
/// cannot be made is given up silently, one that protectedPlaceIn finds something in with a warning.
/// @return false, with `root` unchanged, when the default cannot be used either (logged)
bool ensureLogRootDir(std::string& root, const std::string& executable = {});

/// Tells whether less than 500 MiB are available to an unprivileged user on the volume of `path`. When the query fails,
/// the value that it leaves decides.
bool checkDiskIsFull(const std::string& path);

/// Limits each report to an eighth of the space that is available on the volume of `root` now, and to 1 GiB.
void limitReports(const std::string& root);

/// Removes the sub-directories of `dir` and the regular files directly in it, but not archives (".zip"); with
/// `removeItself` then `dir` with everything in it. What cannot be removed stays; that is not logged.
void cleanDir(const std::string& dir, bool removeItself);

/// Prepares an output root for a new run: cleanDir, then removes the oldest archives directly in it, by modification
/// time, until fewer than 5 are left; none when they cannot all be looked at. What other runs are using stays. Of a
/// folder with the sticky bit, or in which something is mounted, only entries with the tool's own names are removed.
/// Logs what was removed, and the error that ended it.
void checkAndCleanLogDir(const std::string& dir);

/// Where a run collects: a folder for copies, and the report beside it.
struct Scratch {
  std::string logFiles;    ///< "logFiles" in the output root, or in a folder of this run's own there
  std::string systemInfo;  ///< "system_info.log" beside it
};

/// Makes an empty scratch folder with mode 0777 in the output root, and holds it open: in a folder of this run's own
/// (logged) when another run uses the root, or what an earlier one has left cannot be moved aside. Logs failures.
Scratch makeScratch(const std::string& root);

/// Removes the scratch folder and the report, and logs what of the tool's own stays in the root. May be called again.
/// @param unfinished  the path of an archive that is given up, whose unfinished file is removed; empty for none
void removeScratch(const std::string& root, const Scratch& scratch, const std::string& unfinished);

/// Tells whether the file `name` was an archive in the root when the run began, and no other run uses the root.
bool isOwnArchive(const std::string& name);

}  // namespace quelmar

#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace quelmar {

/// How archives' names begin.
inline constexpr const char* kArchivePrefix = "oBrelaLog_";

/// Chooses and prepares the output root: `root` when it is not empty and can be used, else the default
/// "/tmp/oBrelaLog". A root that cannot be created is given up without a log record; one that holds something that must
/// stay (see protectedPlaceIn), with a warning. The root is held open from then on (see hold), and locked unless
/// another run has locked it.
/// @param root        the folder that the user has named; receives the default when that is used
/// @param executable  the program's path, relative to the current directory
/// @return true when `root` is a usable directory; false when the default cannot be used either (logged; `root` is
///         unchanged).
bool ensureLogRootDir(std::string& root, const std::string& executable = {});

/// Tells whether less than 500 MiB are available to an unprivileged user on the volume of `path`. When the query fails,
/// the value that it leaves decides.
bool checkDiskIsFull(const std::string& path);

/// Limits each report to an eighth of the space that is available on the volume of `root` now, and to 1 GiB, so that a
/// command that prints for ever cannot take the room that the archive needs.
void limitReports(const std::string& root);

/// Tells, of an entry of a folder, whether it may be removed.
using MayGo = std::function<bool(const std::string& path)>;

/// Entries that were removed.
struct Removed {
  std::size_t count = 0;
  std::string first;

  void add(const std::string& path) {
    if (count++ == 0) first = path;
  }
};

/// Removes the sub-directories of `dir` and the regular files directly in it, but not archives (".zip"). Links and
/// special files directly in it stay. What cannot be removed stays too; that is not logged.
/// @param removeItself  true: then removes `dir` with everything that is still in it.
/// @param mayGo         asked before each removal; empty allows all
/// @return what was removed of the entries of `dir`
Removed cleanDir(const std::string& dir, bool removeItself, const MayGo& mayGo = {});

/// Prepares an output root for a new run: cleanDir, then removes the oldest archives (".zip") directly in it, by
/// modification time, until fewer than 5 are left. A file system error ends the removal (logged); none is removed when
/// the directory cannot be listed to its end or the time of one cannot be read. What was removed is told in one record.
/// What other runs are using stays. Of a folder with the sticky bit, or in which something is mounted, only entries
/// that have the tool's own names are removed.
void checkAndCleanLogDir(const std::string& dir);

/// Where a run collects: a folder for copies, and the report beside it.
struct Scratch {
  std::string logFiles;    ///< "logFiles" in the output root, or in a folder of this run's own there
  std::string systemInfo;  ///< "system_info.log" beside it
};

/// Makes an empty scratch folder with mode 0777 in the output root, and holds it open. Failures are logged; the run
/// goes on without the folder. When another run uses the root, or the folder of an earlier run can be neither removed
/// nor moved aside, it is made in a folder of this run's own (told in a record).
Scratch makeScratch(const std::string& root);

/// Removes the scratch folder and the report, and tells what of the tool's own stays in the root. May be called more
/// than once.
/// @param unfinished  the path of an archive that is given up: its unfinished file goes too; empty for none
void removeScratch(const std::string& root, const Scratch& scratch, const std::string& unfinished);

/// Tells whether the file `name` was an archive in the root when the run began, and no other run uses the root.
bool isOwnArchive(const std::string& name);

}  // namespace quelmar

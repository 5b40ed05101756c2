#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/types.h>

namespace quelmar::platform {

/// A section of the system information report. Its command lines end in ">> "; the target is appended.
struct ReportSection {
  std::string title;
  std::vector<std::string> commands;
};

struct HostCommands {
  std::vector<ReportSection> sections;                     ///< before the listing of the client's data folders
  std::vector<std::string> launchCommands, launchFolders;  ///< of the last section; the folders are listed
  std::string wideLogQuery;  ///< of the unified log; the first and the last time stamp go into its two "{}"
};

/// The table of this system. A test links the other system's. Never destroyed: threads may read it until the end.
const HostCommands& hostCommands();

/// The unit of "ulimit -f" in this host's sh, in bytes; the largest one where its shells differ, so that a limit comes
/// out lower than asked for rather than higher.
extern const std::uintmax_t kShellBlockBytes;

/// Adds to `actions` or `flags` what makes posix_spawn close all descriptors above `last`. Requires: `actions` open all
/// others but standard error. @return 0 or an error number
int closeDescriptorsAbove(int last, posix_spawn_file_actions_t& actions, short& flags);

struct Process {
  pid_t pid, parent;
};

/// The processes that run now, without process 1; empty when they cannot be listed.
std::vector<Process> processes();

/// The paths at which something is mounted; empty when they are not known. Not thread-safe.
std::vector<std::string> mountPoints();

}  // namespace quelmar::platform

#pragma once

#include <cstdint>
#include <vector>

#include <spawn.h>
#include <sys/types.h>

namespace quelmar::platform {

/// The unit, in bytes, of this host's "ulimit -f" in sh; where shells differ, the larger one.
extern const std::uintmax_t kShellBlockBytes;

/// Sees to it that a new process gets standard error and what `actions` open for it, and nothing else,
/// however other descriptors were opened. @return 0 or an error number
int closeOtherDescriptors(posix_spawn_file_actions_t& actions, short& flags);

struct Process {
  pid_t pid;
  pid_t parent;
};

/// The processes that there are now, but for the first of all; empty when the host does not tell.
std::vector<Process> processes();

}  // namespace quelmar::platform

#pragma once

#include <cstdint>
#include <vector>

#include <spawn.h>
#include <sys/types.h>

namespace quelmar::platform {

/// The unit of "ulimit -f" in this host's sh, in bytes. Where its shells differ, the largest one: a limit may
/// come out lower than asked for, never higher.
extern const std::uintmax_t kShellBlockBytes;

/// Adds to `actions` or `flags` what makes posix_spawn close all descriptors in the new process but standard
/// error and those that `actions` open before, whether they are close-on-exec or not. @return 0 or an error
/// number
int closeOtherDescriptors(posix_spawn_file_actions_t& actions, short& flags);

struct Process {
  pid_t pid;
  pid_t parent;
};

/// The processes that run now, without process 1; empty when they cannot be listed.
std::vector<Process> processes();

}  // namespace quelmar::platform

#pragma once

#include_next <spawn.h>

// What macOS has beyond the standard header. The flag does nothing here, so that commands do start.
#define POSIX_SPAWN_CLOEXEC_DEFAULT 0

extern "C" int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* actions, int fd);

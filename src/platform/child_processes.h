#pragma once

#include <vector>

#include <sys/types.h>

namespace quelmar::platform {

/// The processes whose parent is `parent` right now; empty when the host does not tell.
std::vector<pid_t> childrenOf(pid_t parent);

}  // namespace quelmar::platform

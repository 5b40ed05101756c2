#pragma once

#include <vector>

#include <sys/types.h>

namespace quelmar::platform {

/// The processes whose parent is one of `parents` right now; empty when the host does not tell.
std::vector<pid_t> childrenOf(const std::vector<pid_t>& parents);

}  // namespace quelmar::platform

#include "platform/child_processes.h"

#include <libproc.h>

namespace quelmar::platform {

std::vector<pid_t> childrenOf(pid_t parent) {
  constexpr std::size_t kMostChildren = 4096;
  std::vector<pid_t> children(kMostChildren);
  const int count =
      proc_listchildpids(parent, children.data(), static_cast<int>(kMostChildren * sizeof(pid_t)));
  children.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return children;
}

}  // namespace quelmar::platform

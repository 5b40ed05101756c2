#include "platform/child_processes.h"

#include <algorithm>

#include <libproc.h>

namespace quelmar::platform {

std::vector<pid_t> childrenOf(pid_t parent) {
  constexpr std::size_t kMostChildren = 4096;
  std::vector<pid_t> children(kMostChildren);
  const int filled =
      proc_listchildpids(parent, children.data(), static_cast<int>(kMostChildren * sizeof(pid_t)));
  if (filled <= 0) return {};
  // Whether it counts processes or bytes is documented nowhere, so the zeros of the unused places tell. None
  // of them may reach a caller: to whoever sends signals, 0 is its own process group.
  const auto isNone = [](pid_t child) { return child <= 0; };
  children.erase(std::remove_if(children.begin(), children.end(), isNone), children.end());
  return children;
}

}  // namespace quelmar::platform

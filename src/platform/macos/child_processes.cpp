#include "platform/child_processes.h"

#include <algorithm>
#include <iterator>

#include <libproc.h>

namespace quelmar::platform {

std::vector<pid_t> childrenOf(const std::vector<pid_t>& parents) {
  constexpr std::size_t kMostChildren = 4096;
  std::vector<pid_t> children;
  std::vector<pid_t> some(kMostChildren);
  for (const pid_t parent : parents) {
    std::fill(some.begin(), some.end(), 0);
    proc_listchildpids(parent, some.data(), static_cast<int>(kMostChildren * sizeof(pid_t)));
    // Whether its result counts processes or bytes is documented nowhere, so the zeros of the unused places
    // tell. None of them may reach a caller: to whoever sends signals, 0 is its own process group.
    std::copy_if(some.begin(), some.end(), std::back_inserter(children),
                 [](pid_t child) { return child > 0; });
  }
  return children;
}

}  // namespace quelmar::platform

#include "platform/child_processes.h"

#include <algorithm>
#include <cstdlib>
#include <string>

#include <boost/filesystem/operations.hpp>

#include "base/regular_file.h"

namespace fs = boost::filesystem;

namespace quelmar::platform {
namespace {

constexpr std::size_t kMaxStatBytes = 4096;

/// The parent in the text of a process's "stat" file: the second field behind the name, which is in round
/// brackets and may hold some itself.
pid_t parentIn(const std::string& stat) {
  const std::size_t end = stat.rfind(')');
  return end == std::string::npos || end + 3 >= stat.size() ? -1 : std::atoi(stat.c_str() + end + 3);
}

}  // namespace

std::vector<pid_t> childrenOf(const std::vector<pid_t>& parents) {
  std::vector<pid_t> children;
  boost::system::error_code ec;
  for (fs::directory_iterator entry("/proc", ec); !ec && entry != fs::directory_iterator();
       entry.increment(ec)) {
    const pid_t pid = std::atoi(entry->path().filename().c_str());
    if (pid <= 0) continue;
    // A process may end while it is read about: nothing here throws for that.
    const std::string stat = utilities::readRegularFile(entry->path() / "stat", kMaxStatBytes);
    if (std::find(parents.begin(), parents.end(), parentIn(stat)) != parents.end()) children.push_back(pid);
  }
  return children;
}

}  // namespace quelmar::platform

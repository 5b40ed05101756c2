#include "platform/processes.h"

#include <cstdlib>
#include <string>

#include <unistd.h>

#include "base/directory.h"
#include "base/regular_file.h"

namespace quelmar::platform {

const std::uintmax_t kShellBlockBytes = 512;

int closeOtherDescriptors(posix_spawn_file_actions_t& actions, short& /*flags*/) {
  return posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
}

std::vector<Process> processes() {
  constexpr std::size_t kMaxStatBytes = 4096;
  std::vector<Process> all;
  std::string entries;
  utilities::listDirectory("/proc", utilities::Links::kNone, entries);
  utilities::forEachEntry(entries, [&all](utilities::EntryKind /*kind*/, const std::string& name) {
    const pid_t pid = std::atoi(name.c_str());
    if (pid <= 1) return;
    const std::string stat = utilities::readRegularFile("/proc/" + name + "/stat", kMaxStatBytes);
    // The parent is the second field after the name. That stands in parentheses and may contain some itself.
    const std::size_t end = stat.rfind(')');
    if (end != std::string::npos && end + 3 < stat.size())
      all.push_back({pid, std::atoi(stat.c_str() + end + 3)});
  });
  return all;
}

}  // namespace quelmar::platform

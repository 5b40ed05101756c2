#include "platform/host.h"

#include <cstdio>
#include <cstdlib>
#include <memory>

#include <mntent.h>

#include "base/files.h"
#include "base/tree_walk.h"

namespace quelmar::platform {

const std::uintmax_t kShellBlockBytes = 512;

int closeDescriptorsAbove(int last, posix_spawn_file_actions_t& actions, short& /*flags*/) {
  return posix_spawn_file_actions_addclosefrom_np(&actions, last + 1);
}

std::vector<Process> processes() {
  constexpr std::size_t kMaxStatBytes = 4096;
  std::vector<Process> all;
  std::error_code ec;
  const Descriptor folder = openFolder("/proc", Links::kNone, ec);
  forEachEntry(folder.get(), [&all](EntryKind /*kind*/, const std::string& name) {
    const pid_t pid = std::atoi(name.c_str());
    if (pid <= 1) return;
    const std::string stat = readRegularFile("/proc/" + name + "/stat", kMaxStatBytes);
    // The parent is the second field after the name. That stands in parentheses and may contain some itself.
    const std::size_t end = stat.rfind(')');
    if (end != std::string::npos && end + 3 < stat.size()) all.push_back({pid, std::atoi(stat.c_str() + end + 3)});
  });
  return all;
}

std::vector<std::string> mountPoints() {
  std::vector<std::string> all;
  const std::unique_ptr<FILE, int (*)(FILE*)> table(setmntent("/proc/self/mounts", "re"), &endmntent);
  while (const mntent* const mount = table ? getmntent(table.get()) : nullptr) all.emplace_back(mount->mnt_dir);
  return all;
}

}  // namespace quelmar::platform

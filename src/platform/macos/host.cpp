#include "platform/host.h"

#include <libproc.h>
#include <sys/mount.h>
#include <sys/param.h>
#include <unistd.h>

namespace quelmar::platform {

// Of bash 3.2, the usual /bin/sh here. dash and zsh, which an administrator may choose, count in 512.
const std::uintmax_t kShellBlockBytes = 1024;

int closeDescriptorsAbove(int last, posix_spawn_file_actions_t& actions, short& flags) {
  flags = static_cast<short>(flags | POSIX_SPAWN_CLOEXEC_DEFAULT);
  int error = 0;
  for (int kept = STDERR_FILENO; kept <= last && error == 0; ++kept)
    error = posix_spawn_file_actions_addinherit_np(&actions, kept);
  return error;
}

std::vector<Process> processes() {
  std::vector<pid_t> pids(100'000);  // macOS has no higher process numbers
  proc_listallpids(pids.data(), static_cast<int>(pids.size() * sizeof(pid_t)));
  std::vector<Process> all;
  for (const pid_t pid : pids) {
    // It is not documented whether the result counts processes or bytes, so unused elements are recognised by their 0.
    // No 0 may get into the result: a signal sent to it reaches the tool's own process group.
    proc_bsdshortinfo info{};
    const int size = sizeof(info);
    if (pid <= 1 || proc_pidinfo(pid, PROC_PIDT_SHORTBSDINFO, 0, &info, size) != size) continue;
    all.push_back({pid, static_cast<pid_t>(info.pbsi_ppid)});
  }
  return all;
}

std::vector<std::string> mountPoints() {
  std::vector<std::string> all;
  struct statfs* mounts = nullptr;
  const int count = getmntinfo(&mounts, MNT_NOWAIT);
  for (int number = 0; number < count; ++number) all.emplace_back(mounts[number].f_mntonname);
  return all;
}

}  // namespace quelmar::platform

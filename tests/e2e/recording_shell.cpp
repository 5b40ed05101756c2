// Stands where a box has /bin/sh: adds to /record what it was handed, one line, then becomes the shell that is at
// /fakes/sh. Fields end with 037; so nothing that a command line may hold breaks a record.
#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string target(const std::string& link) {
  char path[4096] = "";
  const ssize_t size = readlink(link.c_str(), path, sizeof path - 1);
  return {path, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
}

std::string descriptors() {
  std::vector<std::string> found;
  DIR* const folder = opendir("/proc/self/fd");
  while (const dirent* entry = readdir(folder)) {
    const int fd = std::atoi(entry->d_name);
    if (entry->d_name[0] == '.' || fd == dirfd(folder)) continue;
    const std::string path = target("/proc/self/fd/" + std::to_string(fd));
    found.push_back(std::to_string(fd) + " " + path.substr(0, path.find(":[")));
  }
  closedir(folder);
  std::sort(found.begin(), found.end());
  std::string all;
  for (const std::string& one : found) all += (all.empty() ? "" : ", ") + one;
  return all;
}

}  // namespace

int main(int, char** argv) {
  char** const given = argv;
  std::ostringstream text;
  const mode_t mask = umask(0);
  umask(mask);
  text << getpid() << '\037' << "descriptors " << descriptors() << "; limits";
  for (const auto& [name, which] :
       {std::pair{" files ", RLIMIT_NOFILE}, {" size ", RLIMIT_FSIZE}, {" core ", RLIMIT_CORE}}) {
    rlimit limit{};
    getrlimit(which, &limit);
    text << name << static_cast<long long>(limit.rlim_cur) << "/" << static_cast<long long>(limit.rlim_max);
  }
  sigset_t blocked;
  sigprocmask(SIG_SETMASK, nullptr, &blocked);
  text << "; signals held back";
  for (int number = 1; number < NSIG; ++number)
    if (sigismember(&blocked, number) == 1) text << " " << number;
  text << ", ignored";
  for (int number = 1; number < NSIG; ++number) {
    struct sigaction action {};
    if (sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) text << " " << number;
  }
  text << "; umask " << std::oct << mask << "; session " << (getsid(0) == getpid() ? "its own" : "another's") << "; in "
       << target("/proc/self/cwd");
  for (; *argv != nullptr; ++argv) text << '\037' << *argv;
  const std::string record = text.str() + "\037\n\037";
  const int file = open("/started", O_WRONLY | O_APPEND | O_CLOEXEC);
  const bool written = write(file, record.data(), record.size()) == static_cast<ssize_t>(record.size());
  close(file);
  if (written) execv("/fakes/sh", given);
  return 127;
}

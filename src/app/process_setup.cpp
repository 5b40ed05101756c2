#include "app/process_setup.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "logging/logger.h"
#include "sysinfo/shell.h"

namespace quelmar {
namespace {

// What a deep tree takes, one descriptor a level; some hosts start programs with 256 and refuse to be asked
// for more than 10240.
constexpr rlim_t kWantedDescriptors = 10240;

void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kWantedDescriptors) return;
  limit.rlim_cur = limit.rlim_max < kWantedDescriptors ? limit.rlim_max : kWantedDescriptors;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

void prepareProcess() {
  raiseDescriptorLimit();
  logutils::macos::details::spareForeignChildren();
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd > STDERR_FILENO) {
    dup2(fd, STDIN_FILENO);
    close(fd);
  }
  // A handler that does nothing, rather than ignoring: commands that the tool runs get the default back.
  struct sigaction pipeAction {};
  pipeAction.sa_handler = [](int) {};
  pipeAction.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &pipeAction, nullptr);
  // With SIGCHLD ignored, no command's end could be waited for.
  std::signal(SIGCHLD, SIG_DFL);
}

void endProcess(int result, const std::function<void()>& last) {
  logutils::macos::details::endCommands();
  Logger::GetInstance().flush();
  std::cout.flush();
  std::cerr.flush();
  std::fflush(stdout);
  last();
  // Not every stream: one that a detached thread reads from is locked.
  std::_Exit(result);
}

}  // namespace quelmar

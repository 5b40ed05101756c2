#include "app/process_setup.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "app/end_by_signal.h"
#include "logging/logger.h"
#include "platform/command.h"

namespace quelmar {
namespace {

// Removing a deep tree takes one descriptor for each level. Some hosts start programs with a limit of 256,
// and accept no limit above 10240.
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
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd > STDERR_FILENO) {
    dup2(fd, STDIN_FILENO);
    close(fd);
  }
  // Commands get the default action again.
  std::signal(SIGPIPE, SIG_IGN);
  // While SIGCHLD is ignored, waitid and waitpid cannot tell how a command ended.
  std::signal(SIGCHLD, SIG_DFL);
  endBySignal();
}

void endProcess(int result, const std::function<void()>& last) {
  platform::endCommands();
  Logger::GetInstance().flush();
  std::cout.flush();
  std::cerr.flush();
  std::fflush(stdout);
  last();
  // Not fflush(nullptr): it would block on a stream that a detached thread is reading from.
  std::_Exit(result);
}

}  // namespace quelmar

#include "app/process_setup.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <system_error>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "app/result_lines.h"
#include "base/bounded_call.h"
#include "logging/logger.h"
#include "platform/command.h"

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

/// Lets SIGINT and its like end the process with its commands, which a terminal's signals do not reach: each
/// has a session of its own. By a thread that waits, for a handler may do next to nothing; without a thread
/// they end this process alone. A signal that is ignored, as nohup has it, stays so.
void endBySignal() {
  sigset_t awaited;
  sigemptyset(&awaited);
  for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) {
    struct sigaction present {};
    sigaction(number, nullptr, &present);
    if (present.sa_handler != SIG_IGN) sigaddset(&awaited, number);
  }
  pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
  try {
    utilities::DetachedCall([awaited] {
      int number = 0;
      sigwait(&awaited, &number);
      platform::endCommands();
      ResultLines::tellInterrupted();
      pthread_sigmask(SIG_UNBLOCK, &awaited, nullptr);
      raise(number);
      std::_Exit(128 + number);  // a container's first process survives its own signals
    });
  } catch (const std::system_error&) {
    pthread_sigmask(SIG_UNBLOCK, &awaited, nullptr);
  }
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
  // A handler that does nothing, rather than ignoring: commands that the tool runs get the default back.
  struct sigaction pipeAction {};
  pipeAction.sa_handler = [](int) {};
  pipeAction.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &pipeAction, nullptr);
  // With SIGCHLD ignored, no command's end could be waited for.
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
  // Not every stream: one that a detached thread reads from is locked.
  std::_Exit(result);
}

}  // namespace quelmar

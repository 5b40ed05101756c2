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

// Removing a deep tree takes one descriptor for each level. Some hosts start programs with a limit of 256,
// and accept no limit above 10240.
constexpr rlim_t kWantedDescriptors = 10240;

void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kWantedDescriptors) return;
  limit.rlim_cur = limit.rlim_max < kWantedDescriptors ? limit.rlim_max : kWantedDescriptors;
  setrlimit(RLIMIT_NOFILE, &limit);
}

/// Makes SIGHUP, SIGINT, SIGQUIT and SIGTERM end the running commands before they end the process. Ctrl-C in
/// the terminal does not reach the commands, since each has a session of its own. A thread waits for the
/// signals, because a signal handler may call almost nothing; when it cannot be started, they end this
/// process only. A signal that the process was started to ignore (nohup) stays ignored.
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
      std::_Exit(128 + number);  // process 1 of a container survives the signal
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
  // An empty handler, not SIG_IGN: commands would inherit SIG_IGN, a handler is reset to the default for
  // them.
  struct sigaction pipeAction {};
  pipeAction.sa_handler = [](int) {};
  pipeAction.sa_flags = SA_RESTART;
  sigaction(SIGPIPE, &pipeAction, nullptr);
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

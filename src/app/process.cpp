#include "app/process.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "app/terminal.h"
#include "base/threads.h"
#include "logging/logger.h"
#include "platform/command.h"

namespace quelmar {
namespace {

// Some hosts start programs with a limit of 256, and accept no limit above 10240.
constexpr rlim_t kWantedDescriptors = 10240;
constexpr std::chrono::seconds kCleanUpLimit{1};

/// What the end of the process needs. Never destroyed, since threads may need it until then.
struct End {
  Terminal* terminal = nullptr;
  std::mutex mutex;
  std::function<void()> cleanUp = [] {};
};

End& end() {
  static auto* const kEnd = new End;
  return *kEnd;
}

void raiseDescriptorLimit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kWantedDescriptors) return;
  limit.rlim_cur = std::min(limit.rlim_max, kWantedDescriptors);
  setrlimit(RLIMIT_NOFILE, &limit);
}

void openStandardStreams() {
  int fd = 0;
  do {
    fd = open("/dev/null", O_RDWR);
  } while (fd >= 0 && fd <= STDERR_FILENO);
  if (fd >= 0) close(fd);
}

/// A thread waits for the signals, since a handler may call almost nothing. Without one they end this process only.
void endBySignal() {
  sigset_t awaited;
  sigemptyset(&awaited);
  for (const int number :
       {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGABRT, SIGALRM, SIGPROF, SIGUSR1, SIGUSR2, SIGVTALRM, SIGXCPU}) {
    struct sigaction present {};
    sigaction(number, nullptr, &present);
    if (present.sa_handler != SIG_IGN) sigaddset(&awaited, number);
  }
  pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
  try {
    startDetached([awaited] {
      int number = 0;
      sigwait(&awaited, &number);
      platform::endCommands();
      std::unique_lock<std::mutex> lock(end().mutex);
      const std::function<void()> cleanUp = end().cleanUp;
      lock.unlock();
      runWithin(kCleanUpLimit, cleanUp);
      end().terminal->showResult(true);
      pthread_sigmask(SIG_UNBLOCK, &awaited, nullptr);
      raise(number);
      std::_Exit(128 + number);  // process 1 of a container survives the signal
    });
  } catch (const std::system_error&) {
    pthread_sigmask(SIG_UNBLOCK, &awaited, nullptr);
  }
}

[[noreturn]] void endByException() {
  platform::endCommands();
  std::string why = "unknown";
  try {
    if (const auto uncaught = std::current_exception()) std::rethrow_exception(uncaught);
  } catch (const std::exception& failure) {
    why = printable(failure.what());
  } catch (...) {  // NOLINT(bugprone-empty-catch): unknown
  }
  tell(STDERR_FILENO, "terminate called after throwing: " + why + "\n");
  end().terminal->showResult(false);
  std::abort();
}

}  // namespace

void prepareProcess(Terminal& terminal) {
  end().terminal = &terminal;
  raiseDescriptorLimit();
  openStandardStreams();
  // Commands get the default action again.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
  // While SIGCHLD is ignored, waitid and waitpid cannot tell how a command ended.
  std::signal(SIGCHLD, SIG_DFL);
  std::set_terminate(endByException);
  endBySignal();
}

void setCleanUp(std::function<void()> cleanUp) {
  const std::lock_guard<std::mutex> lock(end().mutex);
  end().cleanUp = std::move(cleanUp);
}

void endProcess(int result) {
  platform::endCommands();
  Logger::GetInstance().flush();
  end().terminal->showResult(false);
  // Not exit: it would flush a stream that a detached thread is reading from.
  std::_Exit(result);
}

}  // namespace quelmar

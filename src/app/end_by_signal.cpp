#include "app/end_by_signal.h"

#include <csignal>
#include <cstdlib>
#include <system_error>

#include "app/result_lines.h"
#include "base/bounded_call.h"
#include "platform/command.h"

namespace quelmar {

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

}  // namespace quelmar

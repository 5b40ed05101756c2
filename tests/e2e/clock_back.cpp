// Preloaded by a test: the wall clock is set back by a day a second after the program's start; others go on.
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

static time_t steadySeconds() {
  timespec now{};
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &now);
  return now.tv_sec;
}

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  static const time_t kBegan = steadySeconds();
  syscall(SYS_clock_gettime, clock, now);
  if (clock == CLOCK_REALTIME && steadySeconds() > kBegan) now->tv_sec -= 86400;
  return 0;
}

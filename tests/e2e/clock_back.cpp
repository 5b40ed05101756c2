// Preloaded by a test: the wall clock is set back by a day a second after the program's start; others go on.
#include <ctime>

#include <sys/syscall.h>
#include <unistd.h>

namespace {

timespec ask(clockid_t clock) {
  timespec now{};
  syscall(SYS_clock_gettime, clock, &now);
  return now;
}

const time_t kBegan = ask(CLOCK_MONOTONIC).tv_sec;
constexpr time_t kDay = 86400;

}  // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* now) noexcept {
  *now = ask(clock);
  if (clock == CLOCK_REALTIME && ask(CLOCK_MONOTONIC).tv_sec > kBegan) now->tv_sec -= kDay;
  return 0;
}

extern "C" time_t time(time_t* where) noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (where != nullptr) *where = now.tv_sec;
  return now.tv_sec;
}

#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "sysinfo/reports.h"

using namespace quelmar::logutils::macos;

TEST(CmdPopen, CapturesInReadsOf4096BytesWithTheStaleTail) {
  const std::string as = "head -c 4096 /dev/zero | tr '\\0' a; ";
  const struct {
    std::string command, output;
  } cases[] = {
      {"printf hello", "hello"},
      {as, std::string(4096, 'a')},
      // One stream of 5,000 bytes: the second read leaves the end of the first in the buffer.
      {as + "head -c 904 /dev/zero | tr '\\0' b",
       std::string(4096, 'a') + std::string(904, 'b') + std::string(3192, 'a')},
      {"printf 'ab\\0cd'", "ab"},
      {"head -c 2000000 /dev/zero | tr '\\0' a", std::string(1048576, 'a')},
      {"exit 3", ""},
  };
  for (const auto& one : cases) {
    std::string output = "old";
    EXPECT_TRUE(details::cmdPopen(one.command, output));
    EXPECT_EQ(output, one.output) << one.command;
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command is left that nobody has waited for";
}

TEST(WideLogSpan, GoesBackTenMinutesOfWallClock) {
  const struct {
    const char* zone;
    std::time_t now;
    const char *end, *start;
  } cases[] = {
      {"UTC0", 1709251799, "2024-03-01 00:09:59", "2024-02-29 23:59:59"},
      // Five minutes after the clock went forward from 02:00 to 03:00, and 55 before it goes back.
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1743296700, "2025-03-30 03:05:00", "2025-03-30 01:55:00"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1761437100, "2025-10-26 02:05:00", "2025-10-26 01:55:00"},
  };
  for (const auto& one : cases) {
    setenv("TZ", one.zone, 1);
    tzset();
    EXPECT_EQ(wideLogSpan(one.now), std::pair(std::string(one.start), std::string(one.end))) << one.zone;
  }
}

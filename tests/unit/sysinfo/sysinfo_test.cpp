#include <cstdlib>
#include <ctime>
#include <map>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "sysinfo/reports.h"

using namespace quelmar::logutils::macos;

TEST(CmdPopen, CapturesInReadsOf4096BytesWithTheStaleTail) {
  const std::string a(4096, 'a'), b(904, 'b');
  const std::map<std::string, std::string> outputs{
      {"printf " + a, a},
      // One stream of 5,000 bytes: the second read leaves the end of the first in the buffer.
      {"printf " + a + b, a + b + a.substr(b.size())},
      {"printf 'ab\\0cd'", "ab"},
      {"head -c 2000000 /dev/zero | tr '\\0' a", std::string(1048576, 'a')},
      {"exit 3", ""},
  };
  for (const auto& [command, expected] : outputs) {
    std::string output = "old";
    EXPECT_TRUE(details::cmdPopen(command, output));
    EXPECT_EQ(output, expected) << command;
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command is left that nobody has waited for";
}

TEST(WideLogSpan, GoesBackTenMinutesOfWallClock) {
  using Span = std::pair<std::string, std::string>;
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  // Five minutes after the clock went forward from 02:00 to 03:00, and 55 before it goes back.
  EXPECT_EQ(wideLogSpan(1743296700), Span("2025-03-30 01:55:00", "2025-03-30 03:05:00"));
  EXPECT_EQ(wideLogSpan(1761437100), Span("2025-10-26 01:55:00", "2025-10-26 02:05:00"));
}

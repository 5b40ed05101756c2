#include "base/limits.h"

#include <gtest/gtest.h>

// The end-to-end tests of what hangs run with others; these are what users are told.
TEST(Limits, AreTheProducts) {
  const auto& [systemInformation, sideCollector, tunnelExchange, loginService, openOwnLog, openCopies,
               reveal] = quelmar::kLimits;
  const struct {
    const char* wait;
    std::chrono::seconds limit;
    int seconds;
  } cases[] = {{"system information", systemInformation, 60},
               {"side collector", sideCollector, 30},
               {"tunnel exchange", tunnelExchange, 30},
               {"login service", loginService, 5},
               {"chmod of the own log", openOwnLog, 5},
               {"chmod of the copies", openCopies, 5},
               {"reveal", reveal, 10}};
  for (const auto& one : cases) EXPECT_EQ(one.limit.count(), one.seconds) << one.wait;
}

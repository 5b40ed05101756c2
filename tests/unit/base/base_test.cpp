#include <gtest/gtest.h>

#include "base/limits.h"

// The end-to-end tests of what hangs run with others; these are what users are told.
TEST(Limits, AreTheProducts) {
  const auto& [systemInformation, sideCollector, tunnel, login, ownLog, copies, reveal, places, stalled] =
      quelmar::kLimits;
  std::vector<long> seconds;
  for (const auto& limit : {systemInformation, sideCollector, tunnel, login, ownLog, copies, reveal, places, stalled})
    seconds.push_back(limit.count());
  EXPECT_EQ(seconds, (std::vector<long>{60, 30, 30, 5, 5, 5, 10, 10, 30}));
}

#include <cstring>

#include <gtest/gtest.h>

#include "base/limits.h"

// The end-to-end tests of what hangs run with others; these are what users are told.
TEST(Limits, AreTheProducts) {
  using namespace std::chrono_literals;
  const std::chrono::seconds products[] = {60s, 30s, 30s, 5s, 5s, 5s, 10s, 10s, 30s};
  EXPECT_EQ(std::memcmp(&quelmar::kLimits, products, sizeof(quelmar::Limits)), 0);
}

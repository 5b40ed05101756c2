#include <gtest/gtest.h>

#include "support/confine.h"

int main(int argc, char** argv) {
  const std::vector<const char*> arguments(argv, argv + argc);
  testing::InitGoogleTest(&argc, argv);
  // Listing the tests, as the build does, needs no namespaces.
  if (!GTEST_FLAG_GET(list_tests)) testing_support::confine(arguments);
  return RUN_ALL_TESTS();
}

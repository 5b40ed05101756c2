#include <filesystem>

#include <gtest/gtest.h>

#include "support/confine.h"

namespace fs = std::filesystem;

/// Each test works in a folder of its own.
struct Folders : testing::EmptyTestEventListener {
  void OnTestStart(const testing::TestInfo& test) override {
    fs::create_directory(top / test.name());
    fs::current_path(top / test.name());
  }
  void OnTestProgramEnd(const testing::UnitTest& /*all*/) override { fs::remove_all(top); }
  const fs::path top = mkdtemp((testing::TempDir() + "unit-XXXXXX").data());
};

int main(int argc, char** argv) {
  const std::vector<const char*> arguments(argv, argv + argc);
  testing::InitGoogleTest(&argc, argv);
  // Listing the tests, as the build does, needs no namespaces.
  if (!GTEST_FLAG_GET(list_tests)) testing_support::confine(arguments);
  testing::UnitTest::GetInstance()->listeners().Append(new Folders);
  return RUN_ALL_TESTS();
}

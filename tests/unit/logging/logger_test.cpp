#include "logging/logger.h"

#include <filesystem>
#include <fstream>
#include <regex>

#include <gtest/gtest.h>

using namespace quelmar;

TEST(LogCall, CutsLongInfoLinesOnly) {
  const std::string x(3000, 'x');
  const auto logged = [&](int minimum, int level, std::size_t bytes) {
    std::filesystem::remove("log");
    LoggerOptions options;
    options.logFile = "log";
    options.level = std::max<int>(minimum, kInfo);
    options.debugSwitch = minimum == kDebug ? "log" : "none";
    Logger::GetInstance().setOptions(options);
    Logger::GetInstance().log(level, kFileTag, "f", 7, "{}", x.substr(0, bytes));
    std::string line;
    std::getline(std::ifstream("log"), line);
    return std::regex_replace(line, std::regex("\\[[^\\]]*\\d\\] "), "");  // less time, thread, place
  };
  EXPECT_EQ(logged(kInfo, kInfo, 2024), "[info] " + x.substr(0, 2024));  // 24 bytes more with the place
  EXPECT_EQ(logged(kInfo, kInfo, 2025), "[info] " + x.substr(0, 2021) + "...");
  EXPECT_EQ(logged(kInfo, kWarn, 3000), "[warning] " + x);
  EXPECT_EQ(logged(kInfo, kDump, 3000), "[info] " + x);
  EXPECT_EQ(logged(kOff, kDump, 1), "[info] x");
  EXPECT_EQ(logged(kInfo, kDebug, 1), "");
  EXPECT_EQ(logged(kDebug, kDebug, 3000), "[debug] " + x);
  EXPECT_EQ(logged(kDebug, kInfo, 3000), "[info] " + x);
}

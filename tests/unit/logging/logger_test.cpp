#include "logging/logger.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

using namespace quelmar;
using namespace testing_support;

TEST(LogCall, CutsLongInfoLinesOnly) {
  const std::string prefix = "[LogCollectionTool:f:7] ";
  const struct {
    int minimum, level;
    std::size_t lineBytes, writtenBytes;
  } cases[] = {{kInfo, kInfo, 2048, 2048}, {kInfo, kInfo, 2049, 2048}, {kDebug, kInfo, 3000, 3000},
               {kInfo, kErr, 3000, 3000},  {kInfo, kWarn, 3000, 3000}, {kInfo, kDump, 3000, 3000},
               {kOff, kDump, 30, 30},      {kInfo, kDebug, 30, 0},     {kDebug, kDebug, 2049, 2049}};
  for (const auto& one : cases) {
    const TempDir dir;
    LoggerOptions options;
    options.logFile = (dir / "test.log").string();
    options.level = one.minimum == kDebug ? kInfo : one.minimum;
    if (one.minimum == kDebug) options.debugSwitch = writeFile(dir / "debug", "").string();
    Logger::GetInstance().setOptions(options);
    Logger::GetInstance().log(one.level, "LogCollectionTool", "f", 7, "{}",
                              std::string(one.lineBytes - prefix.size(), 'x'));
    const std::string text = readFile(options.logFile);
    const std::size_t start = text.find(prefix);
    const std::size_t written = start == std::string::npos ? 0 : text.size() - 1 - start;
    EXPECT_EQ(written, one.writtenBytes) << "level " << one.level << " at minimum " << one.minimum;
    EXPECT_EQ(text.find("xx...\n") != std::string::npos, one.lineBytes == 2049 && one.level == kInfo);
    EXPECT_EQ(text.find("[info]") != std::string::npos, one.level == kInfo || one.level == kDump);
  }
}

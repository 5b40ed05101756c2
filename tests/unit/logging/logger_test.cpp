#include "logging/logger.h"

#include <gtest/gtest.h>
#include <spdlog/common.h>
#include <unistd.h>

#include "support/temp_dir.h"

using namespace quelmar;
using namespace testing_support;

struct Throwing {
  void (*how)();
};

template <>
struct fmt::formatter<Throwing> : fmt::formatter<int> {
  template <typename Context>
  auto format(const Throwing& value, Context& context) const {
    value.how();
    return context.out();
  }
};

TEST(LogCall, NothingThatLoggingDoesReachesTheCaller) {
  const LogCapture log;
  testing::internal::CaptureStderr();
  const std::string where = "[LogCollectionTool:operator():" + std::to_string(__LINE__ + 1) + "]: ";
  const auto call = [](void (*how)()) { LOG_CALL(kInfo, "{}", Throwing{how}); };
  call([] { throw spdlog::spdlog_ex("sink broke"); });
  call([] { throw std::runtime_error("argument\n\x1b[31mbroke"); });
  call([] { throw 42; });
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "sdplog exception" + where + "sink broke\n" + where +
                                                        "argument\\x0a\\x1b[31mbroke\nUnknown excepiton When logger\n");
  LOG_CALL(kDump, "{}", "only a dump keeps its lines\nand control characters\x7f");
  LOG_CALL(kWarn, "{}", "a record\ndoes not\x7f");
  EXPECT_EQ(log.text(),
            "[info] [LogCollectionTool:TestBody] only a dump keeps its lines\nand control characters\x7f\n"
            "[warning] [LogCollectionTool:TestBody] a record\\x0adoes not\\x7f\n");
}

TEST(LogCall, CutsLongInfoLinesOnly) {
  const std::string prefix = "[LogCollectionTool:f:7] ";
  const struct {
    int minimum, level;
    std::size_t lineBytes, writtenBytes;
  } cases[] = {{kInfo, kInfo, 2048, 2048}, {kInfo, kInfo, 2049, 2048}, {kDebug, kInfo, 3000, 3000},
               {kInfo, kErr, 3000, 3000},  {kInfo, kWarn, 3000, 3000}, {kInfo, kDump, 3000, 3000},
               {kOff, kDump, 30, 30},      {kInfo, kDebug, 30, 0},     {kDebug, kDebug, 2049, 2049}};
  for (const auto& one : cases) {
    const LogCapture log(one.minimum);
    Logger::GetInstance().log(one.level, "LogCollectionTool", "f", 7, "{}",
                              std::string(one.lineBytes - prefix.size(), 'x'));
    const std::string text = readFile(log / "test.log");
    const std::size_t start = text.find(prefix);
    const std::size_t written = start == std::string::npos ? 0 : text.size() - 1 - start;
    EXPECT_EQ(written, one.writtenBytes) << "level " << one.level << " at minimum " << one.minimum;
    EXPECT_EQ(text.find("xx...\n") != std::string::npos, one.lineBytes == 2049 && one.level == kInfo);
    EXPECT_EQ(text.find("[info]") != std::string::npos, one.level == kInfo || one.level == kDump);
  }
}

TEST(Logger, PutsAFullLogAwayUnlessAnotherRunHasDoneSo) {
  const TempDir folder;
  const fs::path log = folder / "test.log", kept = folder / "test.1.log";
  LoggerOptions options;
  options.logFile = log.string();
  options.maxFileBytes = 130;  // holds one record, not two
  Logger::GetInstance().setOptions(options);
  const auto last = [](const fs::path& path) {
    const std::string text = readFile(path);
    return text.substr(text.rfind(' ') + 1);
  };
  for (const char* text : {"first", "second"}) LOG_CALL(kInfo, "{}", text);
  EXPECT_EQ(last(kept) + last(log), "first\nsecond\n");
  fs::rename(log, kept);
  writeFile(log, "another run's");
  LOG_CALL(kInfo, "{}", "third");
  EXPECT_EQ(last(kept) + last(log), "second\nthird\n");
  EXPECT_EQ(readFile(log).rfind("another run's[", 0), 0U);
  char byte = 0;
  EXPECT_EQ(pread(Logger::GetInstance().descriptor(), &byte, 1, 0), 1);
  EXPECT_EQ(byte, 'a');
}

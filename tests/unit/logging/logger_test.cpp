#include <gtest/gtest.h>

#include "logging/log_call.h"
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
  const int line = __LINE__ + 1;
  const auto call = [](void (*how)()) { LOG_CALL(kInfo, "{}", Throwing{how}); };
  call([] { throw spdlog::spdlog_ex("sink broke"); });
  call([] { throw std::runtime_error("argument broke"); });
  call([] { throw 42; });
  const std::string where = "[LogCollectionTool:operator():" + std::to_string(line) + "]: ";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "sdplog exception" + where + "sink broke\n" + where +
                                                        "argument broke\nUnknown excepiton When logger\n");
  EXPECT_EQ(log.text(), "");
}

TEST(LogCall, CutsLongInfoLinesOnlyAndFlushesAtWarnings) {
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
    EXPECT_EQ(readFile(log / "test.log") != "", one.level == kWarn || one.level == kErr) << one.level;
    Logger::GetInstance().flush();
    const std::string text = readFile(log / "test.log");
    const std::size_t start = text.find(prefix);
    const std::size_t written = start == std::string::npos ? 0 : text.size() - 1 - start;
    EXPECT_EQ(written, one.writtenBytes) << "level " << one.level << " at minimum " << one.minimum;
    EXPECT_EQ(text.find("xx...\n") != std::string::npos, one.lineBytes == 2049 && one.level == kInfo);
    EXPECT_EQ(text.find("[info]") != std::string::npos, one.level == kInfo || one.level == kDump);
  }
}

TEST(Logger, AppendsTheContextAndHonoursTheDebugSwitch) {
  const LogCapture log;
  writeFile(log / "debug", "");
  LoggerOptions options = Logger::GetInstance().options();
  Logger::GetInstance().setOptions(options);
  Logger::GetInstance().logWithCtx(
      kDebug, "LogCollectionTool", "f", 1, [] { return " (context)"; }, "{}", "text");
  EXPECT_EQ(log.text(), "[debug] [LogCollectionTool:f] text (context)\n");
}

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
  const int line = __LINE__ + 1;
  const auto call = [](void (*how)()) { LOG_CALL(kInfo, "{}", Throwing{how}); };
  call([] { throw spdlog::spdlog_ex("sink broke"); });
  call([] { throw std::runtime_error("argument\n\x1b[31mbroke"); });
  call([] { throw 42; });
  const std::string where = "[LogCollectionTool:operator():" + std::to_string(line) + "]: ";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "sdplog exception" + where + "sink broke\n" + where +
                                                        "argument\\x0a\\x1b[31mbroke\nUnknown excepiton When logger\n");
  EXPECT_EQ(log.text(), "");
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

TEST(LogCall, WritesOneLineForARecordButNotForADump) {
  const LogCapture log;
  LOG_CALL(kWarn, "{}", "a\nb\x7f");
  LOG_CALL(kDump, "{}", "a\nb\x7f");
  EXPECT_EQ(log.text(),
            "[warning] [LogCollectionTool:TestBody] a\\x0ab\\x7f\n"
            "[info] [LogCollectionTool:TestBody] a\nb\x7f\n");
}

TEST(Logger, PutsAFullLogAwayUnlessAnotherRunHasDoneSo) {
  const TempDir folder;
  const fs::path log = folder / "test.log", kept = folder / "test.1.log";
  LoggerOptions options;
  options.logFile = log.string();
  options.maxFileBytes = 130;  // holds one record, not two
  Logger::GetInstance().setOptions(options);
  LOG_CALL(kInfo, "{}", "first");
  LOG_CALL(kInfo, "{}", "second");
  EXPECT_NE(readFile(kept).find("first"), std::string::npos);
  EXPECT_NE(readFile(log).find("second"), std::string::npos);
  fs::rename(log, kept);
  writeFile(log, "another run's");
  LOG_CALL(kInfo, "{}", "third");
  EXPECT_NE(readFile(kept).find("second"), std::string::npos);
  EXPECT_EQ(readFile(log).find("another run's["), 0U);
  char byte = 0;
  EXPECT_EQ(pread(Logger::GetInstance().descriptor(), &byte, 1, 0), 1);
  EXPECT_EQ(byte, 'a');
}

TEST(Tell, DoesNotWaitForAReaderWhoIsNotThere) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const int before = dup(STDERR_FILENO);
  dup2(ends[1], STDERR_FILENO);
  for (int i = 0; i < 3; ++i) tell(STDERR_FILENO, std::string(1 << 20, 'x'));  // more than a pipe holds
  dup2(before, STDERR_FILENO);
  for (const int descriptor : {before, ends[0], ends[1]}) close(descriptor);
}

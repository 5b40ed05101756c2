#include <gtest/gtest.h>

#include "logging/log_call.h"
#include "support/log_capture.h"

using namespace quelmar;
using namespace testing_support;
using testing::internal::CaptureStderr;
using testing::internal::GetCapturedStderr;

namespace {

struct Unformattable {
  const std::exception* thrown;
};

}  // namespace

template <>
struct fmt::formatter<Unformattable> {
  constexpr auto parse(format_parse_context& context) { return context.begin(); }
  template <typename Context>
  auto format(const Unformattable& value, Context& context) const {
    if (value.thrown == nullptr) throw 42;
    if (dynamic_cast<const spdlog::spdlog_ex*>(value.thrown) != nullptr)
      throw spdlog::spdlog_ex("sink broke");
    throw std::runtime_error("argument broke");
    return context.out();
  }
};

TEST(LogCall, NothingThatLoggingDoesReachesTheCaller) {
  const LogCapture log;
  const spdlog::spdlog_ex ofSpdlog("");
  const std::runtime_error other("");
  const int line = __LINE__ + 2;
  CaptureStderr();
  LOG_CALL(kInfo, "{}", Unformattable{&ofSpdlog});
  LOG_CALL(kErr, "{}", Unformattable{&other});
  LOG_CALL(kInfo, "{}", Unformattable{nullptr});
  LOG_CALL(kErr, "{}, {}", "one value fewer");
  const std::string where = "[LogCollectionTool:TestBody:";
  EXPECT_EQ(GetCapturedStderr(), "sdplog exception" + where + std::to_string(line) + "]: sink broke\n" +
                                     where + std::to_string(line + 1) + "]: argument broke\n" +
                                     "Unknown excepiton When logger\n" + where + std::to_string(line + 3) +
                                     "]: argument not found\n");
  EXPECT_EQ(log.text(), "");
}

TEST(LogCall, CutsLongInfoLinesOnlyAndCountsTheWholeLine) {
  const std::string prefix = "[LogCollectionTool:f:7] ";
  const struct {
    int minimum, level;
    std::size_t lineBytes, writtenBytes;
  } cases[] = {{kInfo, kInfo, 2048, 2048},  {kInfo, kInfo, 2049, 2048}, {kDebug, kInfo, 3000, 3000},
               {kInfo, kErr, 3000, 3000},   {kInfo, kWarn, 3000, 3000}, {kInfo, kCritical, 3000, 3000},
               {kInfo, kDump, 3000, 3000},  {kOff, kDump, 30, 30},      {kInfo, kDebug, 30, 0},
               {kDebug, kDebug, 2049, 2049}};
  for (const auto& one : cases) {
    const LogCapture log(static_cast<Level>(one.minimum));
    Logger::GetInstance().log(one.level, "LogCollectionTool", "f", 7, "{}",
                              std::string(one.lineBytes - prefix.size(), 'x'));
    Logger::GetInstance().flush();
    const std::string text = readFile(log.dir() / "test.log");
    const std::size_t start = text.find(prefix);
    const std::size_t written = start == std::string::npos ? 0 : text.size() - 1 - start;
    EXPECT_EQ(written, one.writtenBytes) << "level " << one.level << " at minimum " << one.minimum;
    const bool cut = written != 0 && written < one.lineBytes;
    EXPECT_EQ(text.find("xx...\n") != std::string::npos, cut) << one.lineBytes;
    if (one.level == kDump) {
      EXPECT_NE(text.find("[info]"), std::string::npos);
    }
  }
}

TEST(Logger, AppendsTheContextAndHonoursTheDebugSwitch) {
  const LogCapture log;
  writeFile(log.dir() / "debug", "");
  LoggerOptions options = Logger::GetInstance().options();
  Logger::GetInstance().setOptions(options);
  Logger::GetInstance().logWithCtx(
      kDebug, "LogCollectionTool", "f", 1, [] { return " (context)"; }, "{}", "text");
  EXPECT_EQ(log.text(), "[debug] [LogCollectionTool:f] text (context)\n");
}

#include <cstdlib>
#include <ctime>

#include "platform/host_commands.h"
#include "support/log_capture.h"
#include "sysinfo/report.h"
#include "sysinfo/shell.h"
#include "sysinfo/system_wide_log.h"

using namespace quelmar::logutils::macos;
using namespace testing_support;

namespace {

std::string shout(std::size_t count, char c) {
  return "head -c " + std::to_string(count) + " /dev/zero | tr '\\0' " + c + "; ";
}

}  // namespace

TEST(CmdPopen, CapturesInReadsOf4096BytesWithTheStaleTail) {
  const struct {
    std::string command, output;
  } cases[] = {
      {"printf hello", "hello"},
      {shout(4096, 'a'), std::string(4096, 'a')},
      // One stream of 5,000 bytes: the second read leaves the end of the first in the buffer.
      {shout(4096, 'a') + shout(904, 'b'),
       std::string(4096, 'a') + std::string(904, 'b') + std::string(3192, 'a')},
      {"printf 'ab\\0cd'", "ab"},
      {"exit 3", ""},
      {"echo unheard >&2", ""},
      {"no-such-command-anywhere", ""},
      {"printf gone > /dev/null", ""},
  };
  for (const auto& one : cases) {
    std::string output = "old";
    EXPECT_TRUE(details::cmdPopen(one.command, output));
    EXPECT_EQ(output.size(), one.output.size()) << one.command;
    EXPECT_TRUE(output == one.output) << one.command << " gave " << output.substr(0, 80);
  }
}

TEST(CmdPopenWithin, LeavesACommandThatNeverEndsAlone) {
  std::string output = "old";
  EXPECT_FALSE(details::cmdPopenWithin(std::chrono::seconds(0), "exec sleep 5", output));
  EXPECT_EQ(output, "");
  EXPECT_TRUE(details::cmdPopenWithin(std::chrono::seconds(60), "printf text", output));
  EXPECT_EQ(output, "text");
}

TEST(Out2File, AppendsToFilesOnly) {
  const TempDir dir;
  const std::string path = (dir / "new report").string();
  details::out2File(path, "one");
  details::out2File(path, "two\n");
  EXPECT_EQ(readFile(path), "onetwo\n");
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  const fs::path victim = writeFile(dir / "victim", "x");
  fs::create_symlink(victim, dir / "link");
  for (const char* name : {"pipe", "link", "none/file", "."})
    details::out2File((dir / name).string(), "text");
  EXPECT_EQ(readFile(victim), "x");
}

TEST(SectionBanner, FramesTheTitle) {
  EXPECT_EQ(details::sectionBanner("os info"),
            "================================== os info ==================================\n");
}

TEST(WideLogSpan, GoesBackTenMinutesOfWallClock) {
  const struct {
    const char* zone;
    const char* end;
    const char* start;
    int isSummer;
  } cases[] = {
      {"UTC0", "2025-03-03 14:05:30", "2025-03-03 13:55:30", 0},
      {"UTC0", "2025-03-03 00:05:00", "2025-03-02 23:55:00", 0},
      {"UTC0", "2025-03-01 00:05:00", "2025-02-28 23:55:00", 0},
      {"UTC0", "2024-03-01 00:09:59", "2024-02-29 23:59:59", 0},
      {"UTC0", "2026-01-01 00:00:00", "2025-12-31 23:50:00", 0},
      {"XXX-13:30", "2025-06-01 00:05:00", "2025-05-31 23:55:00", 0},
      // Five minutes after the clock went forward from 02:00 to 03:00, and after it went back.
      {"CET-1CEST,M3.5.0,M10.5.0/3", "2025-03-30 03:05:00", "2025-03-30 01:55:00", 1},
      {"CET-1CEST,M3.5.0,M10.5.0/3", "2025-10-26 02:05:00", "2025-10-26 01:55:00", 1},
  };
  for (const auto& one : cases) {
    setenv("TZ", one.zone, 1);
    tzset();
    std::tm local{};
    strptime(one.end, "%Y-%m-%d %H:%M:%S", &local);
    local.tm_isdst = one.isSummer;
    const WideLogSpan span = wideLogSpan(std::mktime(&local));
    EXPECT_EQ(span.end, one.end) << one.zone;
    EXPECT_EQ(span.start, one.start) << one.zone;
  }
  unsetenv("TZ");
  tzset();
}

TEST(HostCommands, AnswerTheSameQuestionsOnBothSystems) {
  const auto& mac = quelmar::platform::macosCommands();
  const auto& other = quelmar::platform::linuxCommands();
  ASSERT_EQ(mac.sections.size(), other.sections.size());
  for (std::size_t i = 0; i < mac.sections.size(); ++i) {
    EXPECT_EQ(mac.sections[i].title, other.sections[i].title);
    for (const auto* section : {&mac.sections[i], &other.sections[i]}) {
      EXPECT_FALSE(section->commands.empty()) << section->title;
      for (const std::string& command : section->commands) {
        EXPECT_EQ(command.substr(command.size() - 4), " >> ")
            << "the quoted target follows directly: " << command;
      }
    }
  }
}

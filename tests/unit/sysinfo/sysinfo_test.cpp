#include <csignal>
#include <cstdlib>
#include <ctime>

#include <gtest/gtest.h>
#include <sys/wait.h>

#include "platform/host.h"
#include "support/temp_dir.h"
#include "sysinfo/reports.h"

using namespace quelmar::logutils::macos;
using namespace testing_support;

TEST(CmdPopen, CapturesInReadsOf4096BytesWithTheStaleTail) {
  const std::string as = "head -c 4096 /dev/zero | tr '\\0' a; ";
  const struct {
    std::string command, output;
  } cases[] = {
      {"printf hello", "hello"},
      {as, std::string(4096, 'a')},
      // One stream of 5,000 bytes: the second read leaves the end of the first in the buffer.
      {as + "head -c 904 /dev/zero | tr '\\0' b",
       std::string(4096, 'a') + std::string(904, 'b') + std::string(3192, 'a')},
      {"printf 'ab\\0cd'", "ab"},
      {"head -c 2000000 /dev/zero | tr '\\0' a", std::string(1048576, 'a')},
      {"exit 3", ""},
  };
  for (const auto& one : cases) {
    std::string output = "old";
    EXPECT_TRUE(details::cmdPopen(one.command, output));
    EXPECT_EQ(output, one.output) << one.command;
  }
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a command is left that nobody has waited for";
}

TEST(Report, GoesToItsOwnFileWhateverBearsItsName) {
  const LogCapture log;
  const std::string whole = ":= title =\nNAME:one\nNAME:two\n", kept = "victim:kept\n";
  const auto in = [&](const std::string& name) { return std::regex_replace(name + whole, std::regex("NAME"), name); };
  const struct {
    std::string path, before, between, left;
    bool isMade, isTold;
  } cases[] = {
      {"r", "", "mv r gone; ln -s victim r", in("gone") + "r:kept\n" + kept, true, false},
      {"r", "ln -s victim r", "ln r twin; rm r", in("twin") + kept, true, false},
      {"r", "ln victim r", "", in("r") + kept, true, false},
      {"r", "mkdir r", "", kept, false, true},
      {"missing/r", "", "", kept, false, false},
  };
  for (const auto& one : cases) {
    const TempDir folder;
    const auto shell = [&folder](const std::string& line) {
      std::string output;
      details::cmdPopen("cd '" + folder.path().string() + "'; " + line, output);
      return output;
    };
    shell("echo kept > victim; " + one.before);
    const std::string path = (folder / one.path).string();
    details::Report report("f", path, "target");
    report.banner("title");
    EXPECT_TRUE(report.run("echo one >> "));
    shell(one.between);
    EXPECT_TRUE(report.run("echo two >> "));
    EXPECT_EQ(report.isMade(), one.isMade) << one.before;
    EXPECT_EQ(shell("grep -s '' * /dev/null | sed 's/===*/=/g'"), one.left) << one.before;
    EXPECT_EQ(log.text().find("[warning] [LogCollectionTool:f] report " + path + " left out.; Reason: code:") !=
                  std::string::npos,
              one.isTold);
  }
}

TEST(Report, EndsWhereItsLimitOrALowerOneCutsACommandOff) {
  std::signal(SIGXFSZ, SIG_IGN);  // as the tool does; commands must not
  details::limitReports(16 * 1024 + 1);
  const std::uintmax_t low = 8 * quelmar::platform::kShellBlockBytes;
  for (const auto& [command, size] :
       {std::pair("yes >> ", 16 * 1024UL), {"ulimit -f 8; yes >> ", low}, {"ulimit -f 8; yes | cat >> ", low}}) {
    const LogCapture log;
    details::Report report("f", (log / "r").string(), "target");
    report.banner("title");
    EXPECT_TRUE(report.run(command));
    report.banner("later");
    EXPECT_TRUE(report.run("echo later >> "));
    EXPECT_EQ(fs::file_size(log / "r"), size);
    EXPECT_EQ(log.text(), "[warning] [LogCollectionTool:f] report " + (log / "r").string() + " ends at its limit of " +
                              std::to_string(size) + " bytes; Reason: no room for all of: " + command + "target\n");
  }
}

TEST(WideLogSpan, GoesBackTenMinutesOfWallClock) {
  const struct {
    const char* zone;
    std::time_t now;
    const char *end, *start;
  } cases[] = {
      {"UTC0", 1709251799, "2024-03-01 00:09:59", "2024-02-29 23:59:59"},
      // Five minutes after the clock went forward from 02:00 to 03:00, and 55 before it goes back.
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1743296700, "2025-03-30 03:05:00", "2025-03-30 01:55:00"},
      {"CET-1CEST,M3.5.0,M10.5.0/3", 1761437100, "2025-10-26 02:05:00", "2025-10-26 01:55:00"},
  };
  for (const auto& one : cases) {
    setenv("TZ", one.zone, 1);
    tzset();
    EXPECT_EQ(wideLogSpan(one.now), std::pair(std::string(one.start), std::string(one.end))) << one.zone;
  }
}

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <regex>

#include "support/log_capture.h"
#include "workspace/cached_logs.h"
#include "workspace/housekeeping.h"
#include "workspace/output_location.h"
#include "workspace/packaging.h"

using namespace quelmar;
using namespace testing_support;

namespace {

std::size_t archivesLeft(const TempDir& dir) {
  return static_cast<std::size_t>(
      std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator()));
}

}  // namespace

TEST(CheckAndCleanLogDir, KeepsTheFourNewestArchivesAndNothingElse) {
  for (const int before : {0, 4, 5, 7}) {
    const TempDir dir;
    const TempDir foreign;
    const fs::path victim = writeFile(foreign / "victim.txt", "x");
    for (int i = 0; i < before; ++i) {
      const fs::path archive = writeFile(dir / (std::to_string(9 - i) + ".zip"), "x");
      fs::last_write_time(archive, 1'000'000 + i);  // "9.zip" is the oldest
    }
    writeFile(dir / "stray.txt", "x");
    writeFile(dir / "logFiles/inside.zip", "x");
    fs::create_symlink(foreign.path(), dir / "link");
    fs::create_symlink(victim, dir / "link.txt");
    checkAndCleanLogDir(dir.path().string());
    const int kept = std::min(before, 4);
    EXPECT_EQ(archivesLeft(dir), static_cast<std::size_t>(kept) + 2) << before;
    for (int i = before - kept; i < before; ++i)
      EXPECT_TRUE(fs::exists(dir / (std::to_string(9 - i) + ".zip")));
    EXPECT_EQ(readFile(victim), "x");
  }
}

TEST(CheckAndCleanLogDir, TellsOfAnArchiveThatCannotBeDated) {
  const LogCapture log;
  checkAndCleanLogDir("/proc/self/fdinfo");  // everything in it refuses to be removed
  EXPECT_NE(log.text().find(
                "[warning] [LogCollectionTool:checkAndCleanLogDir] delete file error; Reason: file system "
                "error: "),
            std::string::npos)
      << log.text();
}

TEST(CleanDir, RemovesItselfEvenWithArchives) {
  const TempDir dir;
  writeFile(dir / "scratch/a.ZIP", "x");
  writeFile(dir / "scratch/b", "x");
  writeFile(dir / "scratch/sub/c.zip", "x");
  cleanDir((dir / "scratch").string(), false);
  EXPECT_EQ(archivesLeft(dir), 1U);
  EXPECT_TRUE(fs::exists(dir / "scratch/a.ZIP"));
  EXPECT_FALSE(fs::exists(dir / "scratch/sub"));
  cleanDir((dir / "scratch").string(), true);
  EXPECT_FALSE(fs::exists(dir / "scratch"));
}

TEST(CollectCacheLogPaths, LeavesTunnelAndNameServiceFilesOut) {
  const LogCapture log;
  const TempDir dir;
  for (const char* name : {"Tunnel_dump.log", "obreladns.log", "OBRELADNS", "dns.log", "plain"}) {
    writeFile(dir / name, "x");
  }
  fs::create_directory(dir / "tunnel");
  fs::create_symlink("plain", dir / "link");
  std::vector<std::string> paths = collectCacheLogPaths(dir.path().string());
  std::sort(paths.begin(), paths.end());
  EXPECT_EQ(paths, (std::vector<std::string>{(dir / "dns.log").string(), (dir / "plain").string(),
                                             (dir / "tunnel").string()}));
  EXPECT_TRUE(collectCacheLogPaths((dir / "none").string()).empty());
  EXPECT_NE(log.text().find("[error] [LogCollectionTool:collectCacheLogPaths] collect cache logs in dir:" +
                            (dir / "none").string() + " failed; Reason: catch exception:"),
            std::string::npos);
}

TEST(CollectSelf, CopiesTheOwnLogAndTellsWhenItCannot) {
  const LogCapture log;
  const TempDir dir;
  writeFile(log.dir() / "test.log", "line\n");
  collectSelf(dir.path().string());
  EXPECT_EQ(readFile(dir / "test.log"), "line\n");
  collectSelf((dir / "none").string());
  EXPECT_NE(log.text().find("[warning] [LogCollectionTool:collectSelf] collect(" +
                            (log.dir() / "test.log").string() + ") to dir(" + (dir / "none").string() +
                            ") return false; Reason: err code=2, msg=No such file or directory\n"),
            std::string::npos)
      << log.text();
}

TEST(InitZipLogPath, StampsTheNameWithLocalTime) {
  setenv("TZ", "XXX-13:30", 1);
  tzset();
  const std::time_t now = std::time(nullptr);
  const std::string path = initZipLogPath("/root/");
  std::smatch parts;
  ASSERT_TRUE(std::regex_match(path, parts, std::regex(R"(/root/oBrelaLog_2\.5\.16\.20_(\d{14})\.zip)")))
      << path;
  std::tm stamp{};
  ASSERT_NE(strptime(parts.str(1).c_str(), "%Y%m%d%H%M%S", &stamp), nullptr);
  EXPECT_LE(std::mktime(&stamp) - now, 5);
  EXPECT_GE(std::mktime(&stamp), now) << "local, not universal time";
  EXPECT_EQ(initZipLogPath("").rfind("oBrelaLog_", 0), 0U);
  unsetenv("TZ");
  tzset();
}

TEST(EnsureLogRootDir, KeepsAUsableRoot) {
  const TempDir dir;
  std::string root = (dir / "new/root").string();
  const std::string given = root;
  EXPECT_TRUE(ensureLogRootDir(root));
  EXPECT_EQ(root, given);
  EXPECT_EQ(modeOf(root), 0777U);
}

TEST(CompressLogs, ReplacesALinkAtTheArchiveAndReportsFailures) {
  const LogCapture log;
  const TempDir dir;
  const fs::path victim = writeFile(dir / "victim", "untouched");
  fs::create_symlink(victim, dir / "a.zip");
  EXPECT_EQ(compressLogs({(dir / "victim").string()}, (dir / "a.zip").string()), 0);
  EXPECT_EQ(readFile(victim), "untouched");
  EXPECT_EQ(readFile(dir / "a.zip").substr(0, 4), "PK\3\4");
  EXPECT_EQ(log.text(), "");

  fs::create_directory(dir / "folder.zip");
  EXPECT_EQ(compressLogs({}, (dir / "folder.zip").string()), 0);
  EXPECT_TRUE(fs::is_directory(dir / "folder.zip"));
  EXPECT_EQ(log.text(), "[warning] [LogCollectionTool:compressLogs] Generate zip file(" +
                            (dir / "folder.zip").string() +
                            ") throw exception; Reason: error msg=Error creating zip in file!\n");
}

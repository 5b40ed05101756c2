#include <gtest/gtest.h>

#include "support/log_capture.h"
#include "support/zip_reader.h"
#include "workspace/housekeeping.h"
#include "workspace/packaging.h"

using namespace quelmar;
using namespace testing_support;

TEST(CheckAndCleanLogDir, KeepsTheFourNewestArchivesAndNothingElse) {
  for (const int before : {0, 4, 5}) {
    const TempDir dir;
    const TempDir foreign;
    const fs::path victim = writeFile(foreign / "victim.txt", "x");
    for (int i = 0; i < before; ++i) {
      const fs::path archive = writeFile(dir / (std::to_string(9 - i) + (i % 2 == 0 ? ".zip" : ".ZIP")), "x");
      fs::last_write_time(archive, 1'000'000 + i);  // "9.zip" is the oldest
    }
    writeFile(dir / "stray.txt", "x");
    writeFile(dir / "logFiles/inside.zip", "x");
    fs::create_symlink(foreign.path(), dir / "link");
    fs::create_symlink(victim, dir / "link.txt");
    checkAndCleanLogDir(dir.path().string());
    const int kept = std::min(before, 4);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), {}), kept + 2) << before;
    for (int i = before - kept; i < before; ++i)
      EXPECT_TRUE(fs::exists(dir / (std::to_string(9 - i) + (i % 2 == 0 ? ".zip" : ".ZIP"))));
    EXPECT_EQ(readFile(victim), "x");
  }
}

TEST(CompressLogs, ReportsThatTheArchiveCannotBeMade) {
  const LogCapture log;
  const TempDir dir;
  fs::create_directory(dir / "folder.zip");
  EXPECT_EQ(compressLogs({}, (dir / "folder.zip").string()), 0);
  EXPECT_TRUE(fs::is_directory(dir / "folder.zip"));
  EXPECT_EQ(log.text(), "[warning] [LogCollectionTool:compressLogs] Generate zip file(" +
                            (dir / "folder.zip").string() +
                            ") throw exception; Reason: error msg=Error creating zip in file!\n");
}

TEST(CompressLogs, RemovesTheToolsOwnCopiesOnceTheyArePackedAndNothingElse) {
  const LogCapture log;
  const TempDir dir;
  const std::string copies = (dir / "logFiles").string();
  writeFile(copies + "/logs/ada/a.log", "a");
  writeFile(copies + "/own.log", "own");
  const fs::path victim = writeFile(dir / "home/diary", "secret");
  const fs::path report = writeFile(dir / "report.log", "report");
  fs::create_directory_symlink(dir / "home", copies + "/link");
  fs::create_symlink(victim, copies + "/logs/diary");
  compressLogs({copies + "/logs", copies + "/own.log", copies + "/link/diary", report.string()},
               (dir / "a.zip").string(), copies);
  EXPECT_FALSE(fs::exists(copies + "/logs/ada/a.log") || fs::exists(copies + "/own.log"));
  EXPECT_EQ(readFile(victim) + readFile(report), "secretreport");
  EXPECT_EQ(readZip(readFile(dir / "a.zip")).size(), 4U);
  EXPECT_EQ(log.text(), "[warning] [LogCollectionTool:compressLogs] pack " + copies +
                            "/link/diary failed.; Reason: code:20 msg:Not a directory\n");
}

TEST(CompressLogs, AnArchiveWithoutEntriesIsOneOnlyWhenNothingWasToBePacked) {
  const LogCapture log;
  const TempDir dir;
  compressLogs({}, (dir / "empty.zip").string());
  EXPECT_TRUE(readZip(readFile(dir / "empty.zip")).empty() && fs::exists(dir / "empty.zip"));
  compressLogs({std::string(65'536, 'n')}, (dir / "none.zip").string());
  EXPECT_FALSE(fs::exists(dir / "none.zip"));
  // What came before the one that failed is kept.
  const std::string file = writeFile(dir / "file", "1").string();
  compressLogs({file, std::string(65'536, '/') + std::string(65'536, 'n'), file}, (dir / "one.zip").string());
  EXPECT_EQ(readZip(readFile(dir / "one.zip")).size(), 1U);
}

#include "support/zip_reader.h"
#include "workspace/housekeeping.h"
#include "workspace/packaging.h"

using namespace quelmar;
using namespace testing_support;

TEST(CheckAndCleanLogDir, KeepsTheFourNewestArchivesAndNothingElse) {
  for (const int before : {4, 5}) {
    const TempDir dir;
    const fs::path victim = writeFile(dir / "elsewhere/victim.txt", "x");
    const auto archive = [&](int i) {  // "9.zip" is the oldest
      return dir / "out" / (std::to_string(9 - i) + (i % 2 == 0 ? ".zip" : ".ZIP"));
    };
    for (int i = 0; i < before; ++i) fs::last_write_time(writeFile(archive(i), "x"), 1'000'000 + i);
    for (int i = 0; i < 300; ++i) writeFile(dir / "out/sub" / std::to_string(i), "x");
    writeFile(dir / "out/logFiles/inside.zip", "x");
    fs::create_symlink(victim.parent_path(), dir / "out/link");
    fs::create_symlink(victim, dir / "out/link.txt");
    checkAndCleanLogDir((dir / "out").string());
    const int kept = std::min(before, 4);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir / "out"), {}), kept + 2) << before;
    for (int i = before - kept; i < before; ++i) EXPECT_TRUE(fs::exists(archive(i)));
    EXPECT_EQ(readFile(victim), "x");
  }
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
  EXPECT_EQ(readZip(dir / "a.zip").size(), 5U);
  EXPECT_EQ(log.text(), "");
}

TEST(CompressLogs, AnArchiveWithoutEntriesIsOneOnlyWhenNothingWasToBePacked) {
  const LogCapture log;
  const TempDir dir;
  const std::string file = writeFile(dir / "file", "1").string();
  const std::string tooLong = std::string(65'536, '/') + std::string(65'536, 'n');
  compressLogs({}, (dir / "empty.zip").string());
  compressLogs({tooLong}, (dir / "none.zip").string());
  compressLogs({file, tooLong, file}, (dir / "one.zip").string());  // what came before is kept
  EXPECT_TRUE(fs::exists(dir / "empty.zip") && !fs::exists(dir / "none.zip"));
  EXPECT_EQ(readZip(dir / "one.zip").size(), 1U);
}

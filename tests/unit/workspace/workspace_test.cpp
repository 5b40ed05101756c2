#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "workspace/output_root.h"
#include "workspace/packing.h"

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

TEST(CompressLogs, AnArchiveWithoutEntriesIsOneOnlyWhenNothingWasToBePacked) {
  const LogCapture log;
  const TempDir dir;
  collectSelf((dir / "no folder").string());
  EXPECT_EQ(log.text().rfind("[warning] [LogCollectionTool:collectSelf] collect(", 0), 0U);
  const std::string file = writeFile(dir / "file", "1").string();
  const std::string tooLong = std::string(65'536, '/') + std::string(65'536, 'n');
  compressLogs({}, (dir / "empty.zip").string());
  compressLogs({tooLong}, (dir / "none.zip").string());
  compressLogs({file, tooLong, file}, (dir / "one.zip").string());  // what came before is kept
  EXPECT_TRUE(fs::exists(dir / "empty.zip") && !fs::exists(dir / "none.zip"));
  EXPECT_EQ(readFile(dir / "one.zip").substr(30, 4), "file");
}

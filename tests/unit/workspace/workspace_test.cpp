#include <ctime>

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

TEST(InitZipLogPath, SkipsTheNamesThatOthersHave) {
  const TempDir dir;
  std::string name, root = dir.path().string();
  getZipFileName(name);
  const auto second = [&](int later) {  // the time in the name is local, in seconds
    std::tm time{};
    strptime(name.substr(name.size() - 18, 14).c_str(), "%Y%m%d%H%M%S", &time);
    time.tm_sec += later;
    time.tm_isdst = -1;
    std::mktime(&time);
    char text[15];
    std::strftime(text, sizeof text, "%Y%m%d%H%M%S", &time);
    return name.substr(0, name.size() - 18) + text + ".zip";
  };
  for (int later = 0; later < 60; ++later) {
    const fs::path place = dir / second(later);
    if (later % 3 == 0) fs::create_symlink("/nowhere", place);
    if (later % 3 == 1) fs::create_hard_link(writeFile(dir / "x", "x"), place);
    if (later % 3 == 2) writeFile(place.string() + ".incomplete", "x");
  }
  ASSERT_TRUE(ensureLogRootDir(root));
  EXPECT_EQ(initZipLogPath(root), (dir / second(60)).string());
}

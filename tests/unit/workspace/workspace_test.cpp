#include <ctime>

#include <fmt/chrono.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "workspace/output_root.h"
#include "workspace/packing.h"

using namespace quelmar;
using namespace testing_support;

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
  std::tm first{};  // the time in the name is local, in seconds
  strptime(name.substr(name.size() - 18, 14).c_str(), "%Y%m%d%H%M%S", &first);
  first.tm_isdst = -1;
  const std::time_t start = std::mktime(&first);
  const auto second = [&](int later) {
    const std::time_t time = start + later;
    return dir / (name.substr(0, name.size() - 18) + fmt::format("{:%Y%m%d%H%M%S}.zip", fmt::localtime(time)));
  };
  for (int later = 0; later < 60; ++later) {
    const fs::path place = second(later);
    if (later % 3 == 0) fs::create_symlink("/nowhere", place);
    if (later % 3 == 1) fs::create_hard_link(writeFile(dir / "x", "x"), place);
    if (later % 3 == 2) writeFile(place.string() + ".incomplete", "x");
  }
  ASSERT_TRUE(ensureLogRootDir(root));
  EXPECT_EQ(initZipLogPath(root), second(60).string());
}

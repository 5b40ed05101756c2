#include <boost/date_time/posix_time/posix_time.hpp>
#include <gtest/gtest.h>

#include "collect/selection.h"
#include "collect/tree_copy.h"
#include "support/temp_dir.h"

using namespace quelmar::logutils;
using namespace testing_support;

TEST(IsKeyLog, JudgesByKindSizeAndAge) {
  const LogCapture log;
  const TempDir dir;
  constexpr std::time_t kNow = 1'700'000'000;
  const auto reference = boost::posix_time::from_time_t(kNow);
  const struct {
    const char* name;
    std::uintmax_t size;
    std::time_t age;
    bool isKey;
  } cases[] = {{"a.log", 2097152, 864000, true},     {"b.log", 2097153, 864000, false}, {"c.BACK", 0, 2592000, true},
               {"d.xlog", 0, 2592001, false},        {"e.crash", 1, 2592000, true},     {"f.crash", 1, 2592001, false},
               {"g.ips", 9999999, 0, true},          {"h.dmp", 1, -1, false},           {"i.log", 1, -1, false},
               {"j.pcap", 9999999, 9999999, true},   {"k.json", 1, 0, false},           {"noextension", 1, 0, false},
               {"l.dmp", 1, -500'000'000'000, false}};
  for (const auto& one : cases) {
    const fs::path path = writeFile(dir / one.name, "");
    fs::resize_file(path, one.size);
    fs::last_write_time(path, kNow - one.age);
    EXPECT_EQ(isKeyLog(path.string(), reference), one.isKey) << one.name;
  }
  EXPECT_EQ(log.text(), "");
  EXPECT_TRUE(isKeyLog((dir / "missing.dmp").string(), reference));
  EXPECT_FALSE(isKeyLog((dir / "missing.log").string(), reference));
  EXPECT_EQ(log.text().rfind("[warning] [LogCollectionTool:isKeyLog] Get the filePath(", 0), 0U);
}

TEST(CopyDir, EndsWithinItsOwnOutput) {
  const TempDir dir;
  writeFile(dir / "logs/a.log", "a");
  EXPECT_FALSE(quelmar::helper::copyDir(dir / "logs", dir / "logs/out/copy", {}));
  EXPECT_TRUE(fs::exists(dir / "logs/out/copy/a.log") && fs::is_empty(dir / "logs/out/copy/out"));
}

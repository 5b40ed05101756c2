#include <ctime>

#include <fmt/chrono.h>
#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "workspace/output_root.h"
#include "workspace/packing.h"

using namespace quelmar;
using namespace testing_support;

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

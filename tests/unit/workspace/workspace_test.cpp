#include <set>

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "workspace/output_root.h"
#include "workspace/packing.h"

using namespace quelmar;
using namespace testing_support;

TEST(InitZipLogPath, SkipsTheNamesThatOthersHave) {
  const TempDir dir;
  std::string root = (fs::current_path() / "out").string();
  ASSERT_TRUE(ensureLogRootDir(root));
  std::set<std::string> names;
  for (int number = 0; number < 60; ++number) {
    const std::string path = initZipLogPath(root);
    EXPECT_TRUE(names.insert(path).second) << path;
    if (number % 3 == 0) continue;  // reserved for this run, so another one's for the next
    fs::remove(path + ".incomplete");
    writeFile("x", "x");
    number % 3 == 1 ? fs::create_symlink("/nowhere", path) : fs::create_hard_link("x", path);
  }
}

#include <filesystem>
#include <fstream>
#include <set>

#include <gtest/gtest.h>

#include "workspace/output_root.h"
#include "workspace/packing.h"

namespace fs = std::filesystem;
using namespace quelmar;

TEST(InitZipLogPath, SkipsTheNamesThatOthersHave) {
  std::string root = (fs::current_path() / "out").string();
  ASSERT_TRUE(ensureLogRootDir(root));
  std::set<std::string> names;
  for (int number = 0; number < 60; ++number) {
    const std::string path = initZipLogPath(root);
    EXPECT_TRUE(names.insert(path).second) << path;
    if (number % 3 == 0) continue;  // reserved for this run, so another one's for the next
    fs::remove(path + ".incomplete");
    std::ofstream("x") << "x";
    number % 3 == 1 ? fs::create_symlink("/nowhere", path) : fs::create_hard_link("x", path);
  }
}

#include "collect/file_system.h"

#include <gtest/gtest.h>

#include "collect/tree_copy.h"
#include "support/temp_dir.h"

using namespace quelmar;
using namespace quelmar::helper;
using namespace testing_support;

TEST(CopyDir, EndsWithinItsOwnOutput) {
  const TempDir dir;
  writeFile(dir / "logs/a.log", "a");
  EXPECT_FALSE(copyDir(dir / "logs", dir / "logs/out/copy", {}));
  EXPECT_TRUE(fs::exists(dir / "logs/out/copy/a.log") && fs::is_empty(dir / "logs/out/copy/out"));
  EXPECT_EQ(copyDir(dir / "logs/a.log", dir / "none", {}), std::errc::not_a_directory);
}

TEST(EnsureRemove, ChangesTheModeOfWhatCannotBeRemovedButNotThroughLinks) {
  const TempDir dir;
  const fs::path target = writeFile(dir / "target", "x");
  fs::permissions(target, static_cast<fs::perms>(0640));
  writeFile(dir / "locked/file", "x");
  fs::create_symlink(target, dir / "locked/link");
  fs::permissions(dir / "locked", static_cast<fs::perms>(0555));
  for (const char* name : {"locked/file", "locked/link"}) {
    std::error_code ec;
    EXPECT_FALSE(ensureRemove(dir / name, ec)) << name;
    EXPECT_EQ(ec, std::errc::permission_denied) << name;
  }
  fs::permissions(dir / "locked", fs::owner_all);
  EXPECT_EQ(modeOf(dir / "locked/file"), 0222U);
  EXPECT_EQ(modeOf(target), 0640U);
}

#include <gtest/gtest.h>
#include <pthread.h>

#include "base/bounded_call.h"
#include "base/directories.h"
#include "base/regular_file.h"
#include "support/temp_dir.h"

using namespace quelmar::utilities;
using namespace testing_support;

TEST(EnsureDirectoryExist, ReplacesWhatIsNoDirectoryAndKeepsWhatIs) {
  const TempDir dir;
  const fs::path foreign = writeFile(dir / "foreign/kept.txt", "kept").parent_path();
  writeFile(dir / "file", "x");
  fs::create_directory(dir / "existing");
  fs::permissions(dir / "existing", static_cast<fs::perms>(0700));
  fs::create_symlink("nowhere", dir / "dangling");
  fs::create_symlink(foreign, dir / "own link");
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  const mode_t umaskBefore = umask(077);
  for (const std::string name : {"existing", "file", "pipe", "dangling", "new/deep/er/", "own link"}) {
    std::error_code ec = std::make_error_code(std::errc::io_error);
    EXPECT_TRUE(ensureDirectoryExist((dir / name).string(), ec)) << name;
    EXPECT_FALSE(ec) << name << ": " << ec.message();
    EXPECT_TRUE(fs::is_directory(dir / name)) << name;
    EXPECT_TRUE(name == "own link" || modeOf(dir / name) == (name == "existing" ? 0700U : 0777U)) << name;
  }
  umask(umaskBefore);
  EXPECT_TRUE(fs::is_symlink(dir / "own link")) << "a link that the user made himself is respected";
  EXPECT_EQ(readFile(foreign / "kept.txt"), "kept");
}

TEST(CopyRegularFile, NeverWritesThroughWhatStandsAtTheTarget) {
  const TempDir dir;
  const fs::path source = writeFile(dir / "source", "new");
  fs::permissions(source, static_cast<fs::perms>(06444));
  const fs::path victim = writeFile(dir / "victim", "untouched");
  fs::create_symlink(victim, dir / "link");
  fs::create_hard_link(victim, dir / "hard link");
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  writeFile(dir / "file", "a much longer old text");
  for (const char* name : {"link", "hard link", "pipe", "file"}) {
    std::error_code ec;
    copyRegularFile(source, dir / name, Overwrite::kNo, ec);
    EXPECT_EQ(ec, std::errc::file_exists) << name;
    copyRegularFile(source, dir / name, Overwrite::kYes, ec);
    EXPECT_FALSE(ec) << name << ": " << ec.message();
    EXPECT_EQ(readFile(dir / name), "new") << name;
  }
  EXPECT_EQ(readFile(victim), "untouched");
  EXPECT_EQ(modeOf(dir / "link"), 0644U) << "set-id bits must not travel, and the copy must be removable";
}

#ifdef __GLIBC__
TEST(RunWithin, WorkForWhichThereIsNoThreadIsNotDone) {
  pthread_attr_t usual;
  pthread_attr_t huge;
  pthread_getattr_default_np(&usual);
  pthread_getattr_default_np(&huge);
  pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
  pthread_setattr_default_np(&huge);
  EXPECT_FALSE(runWithin(std::chrono::seconds(60), [] {}));
  pthread_setattr_default_np(&usual);
  EXPECT_TRUE(runWithin(std::chrono::seconds(60), [] {}));
}
#endif

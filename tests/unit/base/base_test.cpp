#include <gtest/gtest.h>
#include <pthread.h>

#include "base/files.h"
#include "base/limits.h"
#include "base/threads.h"
#include "support/temp_dir.h"

using namespace quelmar;
using namespace testing_support;

TEST(CopyOpened, NeverWritesThroughWhatStandsAtTheTarget) {
  const TempDir dir;
  const fs::path source = writeFile(dir / "source", "new"), victim = writeFile(dir / "victim", "untouched");
  fs::permissions(source, static_cast<fs::perms>(06444));
  fs::create_symlink(victim, dir / "link");
  fs::create_hard_link(victim, dir / "hard link");
  ASSERT_EQ(mkfifo((dir / "pipe").c_str(), 0600), 0);
  writeFile(dir / "file", "a much longer old text");
  std::error_code ec;
  struct stat info {};
  const Descriptor folder = openFolder(dir.path().string(), Links::kOwn, ec);
  const Descriptor file = openRegular(source.string(), Links::kOwn, info, ec);
  for (const char* name : {"link", "hard link", "pipe", "file"}) {
    EXPECT_EQ(copyOpened(file, info, folder.get(), name, Overwrite::kNo), std::errc::file_exists) << name;
    EXPECT_FALSE(copyOpened(file, info, folder.get(), name, Overwrite::kYes)) << name;
    EXPECT_EQ(readFile(dir / name), "new") << name;
  }
  EXPECT_EQ(readFile(victim), "untouched");
  EXPECT_TRUE(fs::symlink_status(dir / "link").permissions() == 0644) << "it must be removable, and get no set-id bits";
}

#ifdef __GLIBC__
TEST(RunWithin, WorkForWhichThereIsNoThreadIsNotDone) {
  pthread_attr_t usual, huge;
  for (pthread_attr_t* one : {&usual, &huge}) pthread_getattr_default_np(one);
  pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
  pthread_setattr_default_np(&huge);
  EXPECT_FALSE(runWithin(std::chrono::seconds(60), [] {}));
  pthread_setattr_default_np(&usual);
  EXPECT_TRUE(runWithin(std::chrono::seconds(60), [] {}));
}
#endif

// The end-to-end tests of what hangs run with others; these are what users are told.
TEST(Limits, AreTheProducts) {
  const auto& [systemInformation, sideCollector, tunnel, login, ownLog, copies, reveal, places, stalled] = kLimits;
  std::vector<long> seconds;
  for (const auto& limit : {systemInformation, sideCollector, tunnel, login, ownLog, copies, reveal, places, stalled})
    seconds.push_back(limit.count());
  EXPECT_EQ(seconds, (std::vector<long>{60, 30, 30, 5, 5, 5, 10, 10, 30}));
}

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>

#include "base/files.h"
#include "base/limits.h"
#include "base/threads.h"
#include "base/tree_walk.h"
#include "support/temp_dir.h"

using namespace quelmar;
using namespace testing_support;

TEST(CopyOpened, NeverWritesThroughWhatStandsAtTheTarget) {
  const TempDir dir;
  const fs::path source = writeFile(dir / "source", "new");
  fs::permissions(source, static_cast<fs::perms>(06444));
  const fs::path victim = writeFile(dir / "victim", "untouched");
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
  EXPECT_TRUE(fs::symlink_status(dir / "link").permissions() == 0644)
      << "set-id bits must not travel, and the copy must be removable";
}

// Deeper than a few descriptors, and than a path may be long; opened again on the way back.
TEST(RemoveEntry, TakesFewDescriptorsForATreeOfAnyDepth) {
  const TempDir dir;
  std::error_code ec;
  Descriptor folder = openFolder(dir.path().string(), Links::kOwn, ec);
  const Descriptor top = openFolder(folder.get(), ".", ec);
  for (int depth = 0; depth < 3000; ++depth) {
    for (const char* name : {"before", "deeper", "last"}) ASSERT_EQ(mkdirat(folder.get(), name, 0700), 0);
    folder = openFolder(folder.get(), "deeper", ec);
    ASSERT_FALSE(ec);
  }
  rlimit usual{};
  getrlimit(RLIMIT_NOFILE, &usual);
  const rlimit few{static_cast<rlim_t>(folder.get()) + 30, usual.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  ec = removeEntry(top.get(), "deeper");
  setrlimit(RLIMIT_NOFILE, &usual);
  EXPECT_FALSE(ec) << ec.message();
  EXPECT_FALSE(fs::exists(dir / "deeper"));
}

#ifdef __GLIBC__
TEST(RunWithin, WorkForWhichThereIsNoThreadIsNotDone) {
  pthread_attr_t usual;
  pthread_getattr_default_np(&usual);
  pthread_attr_t huge = usual;
  pthread_attr_setstacksize(&huge, std::size_t{1} << 50U);
  pthread_setattr_default_np(&huge);
  EXPECT_FALSE(runWithin(std::chrono::seconds(60), [] {}));
  pthread_setattr_default_np(&usual);
  EXPECT_TRUE(runWithin(std::chrono::seconds(60), [] {}));
}
#endif

// The end-to-end tests of what hangs run with others; these are what users are told.
TEST(Limits, AreTheProducts) {
  const auto& [systemInformation, sideCollector, tunnel, loginService, ownLog, copies, reveal, places, stalled] =
      quelmar::kLimits;
  EXPECT_EQ(systemInformation.count(), 60);
  for (const auto& limit : {sideCollector, tunnel, stalled}) EXPECT_EQ(limit.count(), 30);
  for (const auto& limit : {loginService, ownLog, copies}) EXPECT_EQ(limit.count(), 5);
  for (const auto& limit : {reveal, places}) EXPECT_EQ(limit.count(), 10);
}

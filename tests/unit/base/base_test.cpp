#include <gtest/gtest.h>
#include <pthread.h>

#include "base/bounded_call.h"
#include "base/limits.h"
#include "base/regular_file.h"
#include "support/temp_dir.h"

using namespace quelmar::utilities;
using namespace testing_support;

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
  EXPECT_TRUE(fs::symlink_status(dir / "link").permissions() == 0644)
      << "set-id bits must not travel, and the copy must be removable";
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
  const auto& [systemInformation, sideCollector, tunnel, loginService, ownLog, copies, reveal] =
      quelmar::kLimits;
  EXPECT_EQ(systemInformation.count(), 60);
  for (const auto& limit : {sideCollector, tunnel}) EXPECT_EQ(limit.count(), 30);
  for (const auto& limit : {loginService, ownLog, copies}) EXPECT_EQ(limit.count(), 5);
  EXPECT_EQ(reveal.count(), 10);
}

#include <atomic>
#include <future>
#include <memory>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "base/bounded_call.h"
#include "base/directories.h"
#include "base/regular_file.h"
#include "base/wait_group.h"
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
  const struct {
    const char* name;
    mode_t mode;
  } cases[] = {{"existing", 0700}, {"file", 0777},         {"pipe", 0777},
               {"dangling", 0777}, {"new/deep/er/", 0777}, {"own link", 0777}};
  const mode_t umaskBefore = umask(077);
  for (const auto& one : cases) {
    std::error_code ec = std::make_error_code(std::errc::io_error);
    EXPECT_TRUE(ensureDirectoryExist((dir / one.name).string(), ec)) << one.name;
    EXPECT_FALSE(ec) << one.name << ": " << ec.message();
    EXPECT_TRUE(fs::is_directory(dir / one.name)) << one.name;
    if (std::string(one.name) != "own link") {
      EXPECT_EQ(modeOf(dir / one.name), one.mode) << one.name;
    }
  }
  umask(umaskBefore);
  EXPECT_TRUE(fs::is_symlink(dir / "own link")) << "a link that the user made himself is respected";
  EXPECT_EQ(readFile(foreign / "kept.txt"), "kept");
}

TEST(EnsureDirectoryExist, TellsWhyItCannot) {
  std::error_code ec;
  EXPECT_FALSE(ensureDirectoryExist("/proc/self/none/such", ec));
  EXPECT_TRUE(ec);
}

TEST(EnsureDirectoryExist, DoesNotFollowALinkThatSomebodyElsePlanted) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make another user's link";
  const TempDir dir;
  const fs::path target = writeFile(dir / "theirs/file", "x").parent_path();
  fs::create_symlink(target, dir / "root");
  ASSERT_EQ(lchown((dir / "root").c_str(), 12345, 12345), 0);
  for (const char* name : {"root/", "root"}) {
    std::error_code ec;
    EXPECT_TRUE(ensureDirectoryExist((dir / name).string(), ec)) << ec.message();
    EXPECT_FALSE(fs::is_symlink(dir / "root"));
  }
  EXPECT_EQ(readFile(target / "file"), "x");
}

TEST(CopyRegularFile, OpensNothingButRegularFiles) {
  const TempDir dir;
  fs::create_directory(dir / "folder");
  ASSERT_EQ(mkfifo((dir / "pipe.log").c_str(), 0600), 0);
  const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string socketPath = (dir / "socket.log").string();
  socketPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  fs::create_symlink("pipe.log", dir / "link to pipe");
  for (const char* name : {"folder", "pipe.log", "socket.log", "link to pipe", "missing"}) {
    std::error_code ec;
    copyRegularFile(dir / name, dir / "copy", Overwrite::kNo, ec);
    EXPECT_TRUE(ec) << name;
    EXPECT_FALSE(fs::exists(dir / "copy")) << name;
  }
  close(listener);
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

TEST(RunWithin, GivesUpOnWorkThatNeverEnds) {
  EXPECT_TRUE(runWithin(std::chrono::seconds(60), [] {}));
  EXPECT_TRUE(runWithin(std::chrono::seconds(60), [] { throw 1; }));
  const auto hold = std::make_shared<std::promise<void>>();
  EXPECT_FALSE(runWithin(std::chrono::seconds(0), [hold] { hold->get_future().wait(); }));
  hold->set_value();
}

TEST(WaitGroup, ReturnsWhenTheLastWorkerSignsOff) {
  quelmar::WaitGroup group;
  group.wait();  // nothing was started
  std::atomic<int> ended{0};
  for (int i = 0; i < 8; ++i) {
    group.add(1);
    std::thread([&] {
      ++ended;
      group.add(-1);
    }).detach();
  }
  group.wait();
  EXPECT_EQ(ended, 8);
}

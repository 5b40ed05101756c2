#include "collect/file_system.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "support/log_capture.h"

using namespace quelmar;
using namespace quelmar::helper;
using namespace testing_support;

namespace {

/// All paths below `root`, directories with a trailing slash, sorted.
std::string tree(const fs::path& root) {
  std::vector<std::string> paths;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const bool isDirectory = fs::is_directory(entry.symlink_status());
    paths.push_back(fs::relative(entry.path(), root).string() + (isDirectory ? "/" : ""));
  }
  std::sort(paths.begin(), paths.end());
  std::string text;
  for (const std::string& path : paths) text += path + " ";
  return text;
}

}  // namespace

TEST(CopyDir, CopiesFilesAndEntersNoLinks) {
  const LogCapture log;
  const TempDir dir;
  writeFile(dir / "src/a.log", "new");
  writeFile(dir / "src/sub/b.log", "b");
  writeFile(dir / "src/refused.exe", "x");
  fs::create_directory(dir / "src/empty");
  fs::create_symlink("a.log", dir / "src/link to file");
  fs::create_symlink(".", dir / "src/loop");
  const TempDir elsewhere;
  writeFile(elsewhere / "foreign.log", "x");
  fs::create_symlink(elsewhere.path(), dir / "src/elsewhere");
  fs::create_symlink("gone", dir / "src/dangling");
  ASSERT_EQ(mkfifo((dir / "src/pipe.log").c_str(), 0600), 0);
  fs::create_symlink("pipe.log", dir / "src/link to pipe");
  writeFile(dir / "src/odd \n'$(x)\xff", "odd");
  writeFile(dir / ("src/" + std::string(255, 'n')), "long");
  writeFile(dir / "dst/a.log", "old");
  writeFile(dir / "dst/sub", "in the way");
  const FileFilter filter = [](const std::string& path) { return path.find(".exe") == std::string::npos; };
  EXPECT_FALSE(copyDir(dir / "src", dir / "dst", filter));
  EXPECT_EQ(tree(dir / "dst"),
            "a.log empty/ link to file " + std::string(255, 'n') + " odd \n'$(x)\xff sub/ sub/b.log ");
  EXPECT_EQ(readFile(dir / "dst/a.log"), "old");
  EXPECT_EQ(readFile(dir / "dst/link to file"), "new");
  EXPECT_FALSE(fs::is_symlink(dir / "dst/link to file"));
  EXPECT_EQ(log.text(), "");
}

TEST(CopyDir, EndsWithinItsOwnOutputAndTellsWhatItCannotDo) {
  const TempDir dir;
  writeFile(dir / "logs/a.log", "a");
  EXPECT_FALSE(copyDir(dir / "logs", dir / "logs/out/copy", {}));
  EXPECT_EQ(tree(dir / "logs/out/copy"), "a.log out/ ");
  EXPECT_EQ(copyDir(dir / "logs/a.log", dir / "none", {}), std::errc::not_a_directory);
  fs::permissions(dir / "logs/out", static_cast<fs::perms>(0555));
  EXPECT_TRUE(copyDir(dir / "logs", dir / "logs/out/none", {}));
  fs::permissions(dir / "logs/out", fs::owner_all);
}

TEST(EnsureRemove, RemovesTreesAndLinksButNeverTargets) {
  const TempDir dir;
  const fs::path target = writeFile(dir / "target/file", "x").parent_path();
  fs::create_symlink(target, dir / "link");
  writeFile(dir / "tree/deep/file", "x");
  fs::create_symlink(target, dir / "tree/deep/link");
  for (const char* name : {"link", "tree", "missing"}) {
    std::error_code ec;
    EXPECT_TRUE(ensureRemove(dir / name, ec)) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / name))) << name;
  }
  EXPECT_EQ(tree(target), "file ");
}

TEST(EnsureRemove, ChangesTheModeOfWhatCannotBeRemovedButNotThroughLinks) {
  const TempDir dir;
  const fs::path target = writeFile(dir / "target", "x");
  const mode_t before = modeOf(target);
  writeFile(dir / "locked/file", "x");
  fs::create_symlink(target, dir / "locked/link");
  fs::permissions(dir / "locked", static_cast<fs::perms>(0555));
  std::error_code ec;
  for (const char* name : {"locked/file", "locked/link"}) {
    EXPECT_FALSE(ensureRemove(dir / name, ec)) << name;
    EXPECT_EQ(ec, std::errc::permission_denied) << name;
  }
  EXPECT_EQ(modeOf(dir / "locked/file"), 0222U);
  EXPECT_EQ(modeOf(target), before);
  fs::permissions(dir / "locked", fs::owner_all);
}

TEST(DirectoryWalker, HandsOutContentsBeforeTheirFolderAndSurvivesRemoval) {
  const LogCapture log;
  const TempDir dir;
  for (int i = 0; i < 300; ++i) writeFile(dir / ("root/f" + std::to_string(i)), "");
  writeFile(dir / "root/sub/inner", "");
  const TempDir elsewhere;
  const fs::path foreign = writeFile(elsewhere / "foreign", "x");
  fs::create_symlink(elsewhere.path(), dir / "root/elsewhere");
  fs::create_symlink("gone", dir / "root/dangling");
  // What is walked through a link has a path that begins like the others, but its folder is another one.
  const auto removeInside = [&](const std::string& path) {
    const std::string folder = fs::canonical(fs::path(path).parent_path()).string();
    if (folder.rfind(fs::canonical(dir.path()).string(), 0) == 0) fs::remove_all(path);
  };
  std::vector<std::string> order;
  std::size_t files = 0;
  directoryWalker(
      dir / "root",
      [&](const std::string& path) { order.push_back("before " + fs::path(path).filename().string()); },
      [&](const std::string& path) {
        order.push_back("after " + fs::path(path).filename().string());
        removeInside(path);
      },
      [&](const std::string& path) {
        if (fs::path(path).filename() == "inner") order.emplace_back("inner");
        removeInside(path);
        ++files;
      });
  EXPECT_EQ(files, 303U);
  EXPECT_EQ(order, (std::vector<std::string>{"before sub", "inner", "after sub"}));
  EXPECT_TRUE(fs::is_empty(dir / "root"));
  EXPECT_TRUE(fs::exists(foreign));
  directoryWalker(dir / "none", {}, {}, {});
  EXPECT_EQ(log.text().rfind("[warning] [LogCollectionTool:directoryWalker] Source directory ", 0), 0U);
}

#include "collect/file_system.h"

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "collect/tree_copy.h"
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

TEST(CopyDir, KeepsWhatIsThereAndEntersNoLinks) {
  const LogCapture log;
  const TempDir dir;
  writeFile(dir / "src/a.log", "new");
  writeFile(dir / "src/sub/b.log", "b");
  writeFile(dir / "src/refused.exe", "x");
  fs::create_directory(dir / "src/empty");
  fs::create_symlink("a.log", dir / "src/link to file");
  fs::create_symlink(".", dir / "src/loop");
  fs::create_symlink("gone", dir / "src/dangling");
  fs::create_symlink("itself", dir / "src/itself");
  fs::create_symlink("a.log/x", dir / "src/through a file");
  writeFile(dir / "dst/a.log", "old");
  writeFile(dir / "dst/sub", "in the way");
  const FileFilter filter = [](const std::string& path) { return path.find(".exe") == std::string::npos; };
  EXPECT_FALSE(copyDir(dir / "src", dir / "dst", filter));
  EXPECT_EQ(tree(dir / "dst"), "a.log empty/ link to file sub/ sub/b.log ");
  EXPECT_EQ(readFile(dir / "dst/a.log"), "old");
  EXPECT_EQ(readFile(dir / "dst/link to file"), "new");
  EXPECT_FALSE(fs::is_symlink(dir / "dst/link to file"));
  EXPECT_EQ(log.text(), "");
}

TEST(CopyDir, FindsItsWayBackFromTheDepths) {
  const TempDir dir;
  std::string folder = "src/";
  for (int depth = 0; depth < 30; ++depth) {
    for (const char* name : {"a", "b/x", "z"}) writeFile(dir / (folder + name), "x");
    folder += "m/";
  }
  EXPECT_FALSE(copyDir(dir / "src", dir / "dst", {}));
  EXPECT_EQ(tree(dir / "dst"), tree(dir / "src"));
}

TEST(CopyDir, EndsWithinItsOwnOutputAndTellsWhatItCannotDo) {
  const TempDir dir;
  writeFile(dir / "logs/a.log", "a");
  EXPECT_FALSE(copyDir(dir / "logs", dir / "logs/out/copy", {}));
  EXPECT_EQ(tree(dir / "logs/out/copy"), "a.log out/ ");
  EXPECT_EQ(copyDir(dir / "logs/a.log", dir / "none", {}), std::errc::not_a_directory);
  EXPECT_TRUE(copyDir(dir / "logs", "/proc/none/such", {}));
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
  const LogCapture log;
  std::error_code ec;
  for (const char* name :
       {"/proc/self/status", "/proc/self/exe"}) {  // cannot be removed; the second is a link
    EXPECT_FALSE(ensureRemove(name, ec)) << name;
    EXPECT_TRUE(ec) << name;
  }
  EXPECT_EQ(
      log.text().rfind("[error] [LogCollectionTool:addWritePermission] /proc/self/status permissions ", 0),
      0U);
  EXPECT_EQ(log.text().find("/proc/self/exe"), std::string::npos) << "a link's target was asked for";
}

TEST(DirectoryWalker, HandsOutContentsBeforeTheirFolderAndSurvivesRemoval) {
  const LogCapture log;
  const TempDir dir;
  for (int i = 0; i < 300; ++i) writeFile(dir / ("root/f" + std::to_string(i)), "");
  writeFile(dir / "root/sub/inner", "");
  fs::create_symlink("/", dir / "root/everything");
  fs::create_symlink("gone", dir / "root/dangling");
  std::vector<std::string> order;
  std::size_t files = 0;
  directoryWalker(
      dir / "root",
      [&](const std::string& path) { order.push_back("before " + fs::path(path).filename().string()); },
      [&](const std::string& path) {
        order.push_back("after " + fs::path(path).filename().string());
        fs::remove_all(path);
      },
      [&](const std::string& path) {
        if (fs::path(path).filename() == "inner") order.emplace_back("inner");
        fs::remove(path);
        ++files;
      });
  EXPECT_EQ(files, 303U);
  EXPECT_EQ(order, (std::vector<std::string>{"before sub", "inner", "after sub"}));
  EXPECT_TRUE(fs::is_empty(dir / "root"));
  directoryWalker(dir / "none", {}, {}, {});
  EXPECT_EQ(log.text().rfind("[warning] [LogCollectionTool:directoryWalker] Source directory ", 0), 0U);
}

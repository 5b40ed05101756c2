#include "collect/file_system.h"

#include <set>

#include <gtest/gtest.h>

#include "collect/okvu_gate.h"
#include "collect/tree_copy.h"
#include "support/temp_dir.h"

using namespace quelmar;
using namespace quelmar::helper;
using namespace testing_support;

namespace {

/// All paths below `root`, directories with a trailing slash, sorted.
std::string tree(const fs::path& root) {
  std::set<std::string> paths;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const bool isDirectory = fs::is_directory(entry.symlink_status());
    paths.insert(fs::relative(entry.path(), root).string() + (isDirectory ? "/ " : " "));
  }
  std::string text;
  for (const std::string& path : paths) text += path;
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
  writeFile(dir / "elsewhere/foreign.log", "x");
  for (const char* target : {"a.log", ".", "../elsewhere", "gone", "to gone", "a.log/x"}) {
    fs::create_symlink(target, dir / "src" / ("to " + fs::path(target).filename().string()));
  }
  ASSERT_EQ(mkfifo((dir / "src/fifo.log").c_str(), 0600), 0);
  writeFile(dir / "dst/a.log", "old");
  writeFile(dir / "dst/sub", "in the way");
  const FileFilter filter = [](const std::string& path) { return path.find(".exe") == std::string::npos; };
  EXPECT_FALSE(copyDir(dir / "src", dir / "dst", filter));
  EXPECT_EQ(tree(dir / "dst"), "a.log empty/ sub/ sub/b.log to a.log ");
  EXPECT_EQ(readFile(dir / "dst/a.log") + readFile(dir / "dst/to a.log"), "oldnew");
  EXPECT_FALSE(fs::is_symlink(dir / "dst/to a.log"));
  EXPECT_EQ(log.text(), "");
  std::error_code ec;
  EXPECT_EQ(getDirTotalSize((dir / "src").string(), {".log"}, ec), 4U);
  EXPECT_EQ(getDirTotalSize((dir / "src/to elsewhere").string(), {".log"}, ec), 0U);
}

TEST(CopyDir, EndsWithinItsOwnOutput) {
  const TempDir dir;
  writeFile(dir / "logs/a.log", "a");
  EXPECT_FALSE(copyDir(dir / "logs", dir / "logs/out/copy", {}));
  EXPECT_EQ(tree(dir / "logs/out/copy"), "a.log out/ ");
  EXPECT_EQ(copyDir(dir / "logs/a.log", dir / "none", {}), std::errc::not_a_directory);
}

TEST(CopyOneFile, ToAVolumeThatDoesNotTellItsRoomIsTried) {
  const TempDir dir;
  const fs::path before = fs::current_path();
  fs::current_path(dir.path());
  bool isNews = false;
  // A bare name has no folder whose volume could be asked.
  EXPECT_FALSE(copyOneFile(writeFile(dir / "source", "text"), "copy", isNews));
  fs::current_path(before);
  EXPECT_EQ(readFile(dir / "copy"), "text");
}

TEST(EnsureRemove, RemovesTreesAndLinksAndChangesTheModeOfWhatStaysButOfNoTarget) {
  const TempDir dir;
  const fs::path target = writeFile(dir / "target/file", "x");
  fs::permissions(target, static_cast<fs::perms>(0640));
  fs::create_symlink(target.parent_path(), dir / "link");
  writeFile(dir / "tree/deep/file", "x");
  std::error_code ec;
  for (const char* name : {"link", "tree", "missing"}) {
    EXPECT_TRUE(ensureRemove(dir / name, ec)) << name;
    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / name))) << name;
  }
  writeFile(dir / "locked/file", "x");
  fs::create_symlink(target, dir / "locked/link");
  fs::permissions(dir / "locked", static_cast<fs::perms>(0555));
  for (const char* name : {"locked/file", "locked/link"}) {
    EXPECT_FALSE(ensureRemove(dir / name, ec)) << name;
    EXPECT_EQ(ec, std::errc::permission_denied) << name;
  }
  fs::permissions(dir / "locked", fs::owner_all);
  EXPECT_EQ(modeOf(dir / "locked/file"), 0222U);
  EXPECT_EQ(modeOf(target), 0640U);
}

#include "zipper/deflate_pipeline.h"

#include <random>

#include <gtest/gtest.h>
#include <zip.h>
#include <zlib.h>

#include "support/temp_dir.h"
#include "zipper/zipper_impl.h"

namespace {

using testing_support::readFile;
using testing_support::TempDir;
using testing_support::writeFile;
using zipper::Zipper;
namespace fs = boost::filesystem;

/// What the zip library makes of the tree when it does all by itself: files in the order of the listing,
/// under the last occurrence of the tree's name in their paths.
void packPlainly(const fs::path& archive, const fs::path& tree, int level) {
  const zipFile zip = zipOpen64(archive.c_str(), APPEND_STATUS_CREATE);
  for (const fs::path& path : fs::recursive_directory_iterator(tree)) {
    if (fs::is_directory(path)) continue;
    const std::string file = path.string();
    const std::string name = file.substr(file.rfind(tree.filename().string() + "/"));
    zipOpenNewFileInZip64(zip, name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr,
                          level == 0 ? 0 : Z_DEFLATED, level, 0);
    const bool readable = fs::is_regular_file(path) && path.filename() != "failing";
    const std::string content = readable ? readFile(file) : "";
    for (std::size_t at = 0; at < content.size(); at += 8192) {
      const std::string piece = content.substr(at, 8192);
      zipWriteInFileInZip(zip, piece.data(), static_cast<unsigned>(piece.size()));
    }
    zipCloseFileInZip(zip);
  }
  zipClose(zip, nullptr);
}

std::string incompressible(std::size_t size) {
  std::mt19937 random(7);  // NOLINT: the same each time
  std::string content(size, ' ');
  for (char& byte : content) byte = static_cast<char>(random());
  return content;
}

/// Text and binary data in sizes around those of the buffers and queues.
fs::path makeTree(const fs::path& root) {
  const char* const folders[] = {"", "sub", "sub/tree", "tree/tree/deeper"};
  unsigned count = 0;
  for (const std::size_t size :
       {0U, 1U, 8191U, 8192U, 8193U, 65'535U, 65'536U, 66'000U, 200'000U, 6'000'000U}) {
    std::string text;
    while (text.size() < size) text += std::to_string(text.size() * size) + " is a line\n";
    for (const std::string& content : {incompressible(size), text.substr(0, size)}) {
      writeFile(root / folders[count % 4] / ("f" + std::to_string(count)), content);
      ++count;
    }
  }
  for (unsigned i = 0; i < 1500; ++i) writeFile(root / "many" / std::to_string(i), std::to_string(i));
  // Their sizes promise more than reading them yields: a short one, and one that fails (where there are any).
  fs::create_symlink("/sys/devices/system/cpu/online", root / "short");
  fs::create_symlink("/sys/class/net/lo/speed", root / "failing");
  fs::create_symlink("nowhere", root / "dangling");
  fs::create_symlink("f1", root / "link");
  fs::create_directory_symlink(".", root / "loop");
  fs::create_directories(root / "nothing/in/here");
  EXPECT_EQ(mkfifo((root / "fifo.log").c_str(), 0600), 0);
  for (const char* name : {".hidden", "new\nline", "\xff\xfe", "mytree/x"}) writeFile(root / name, name);
  fs::permissions(writeFile(root / "secret", "unreadable for most"), fs::no_perms);
  return root;
}

TEST(DeflatePipeline, MakesTheVeryBytesOfThePlainLibrary) {
  const TempDir dir;
  const fs::path tree = makeTree(dir / "tree");
  const struct {
    unsigned flags;
    int level;
  } rows[] = {{Zipper::CompressBest, 9}, {Zipper::CompressFast, 1}, {0, 0}};
  for (const auto& row : rows) {
    packPlainly(dir / "plain.zip", tree, row.level);
    for (const unsigned threads : {1U, 2U, 16U}) {
      const fs::path archive = dir / "ours.zip";
      fs::remove(archive);
      Zipper::Impl zip(archive.string(), "", threads);
      ASSERT_TRUE(zip.open());
      zip.addTree(tree.string(), row.flags);
      EXPECT_TRUE(zip.close());
      EXPECT_TRUE(readFile(archive) == readFile(dir / "plain.zip")) << row.level << ", threads " << threads;
    }
  }
}

TEST(DeflatePipeline, EndsItsThreadsWhateverTheyAreAt) {
  const TempDir dir;
  const std::string big = writeFile(dir / "big", incompressible(2'000'000)).string();
  for (const int pieces : {0, 1}) {
    int named = 0;
    const auto nextPath = [&](std::string& path) {
      path = big;
      return ++named <= 3000;
    };
    zipper::DeflatePipeline untouched(nextPath, 9, 4);
    zipper::DeflatePipeline pipeline(nextPath, 9, 4);
    zipper::DeflatePipeline::File file;
    zipper::DeflatePipeline::Totals totals;
    std::vector<char> piece;
    EXPECT_TRUE(pipeline.nextFile(file));
    for (int i = 0; i < pieces; ++i) EXPECT_TRUE(pipeline.nextPiece(piece, totals));
    EXPECT_TRUE(pipeline.nextFile(file));  // leaves the first one half done
  }
}

}  // namespace

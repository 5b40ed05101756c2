#include "zipper/deflate_pipeline.h"

#include <csignal>
#include <random>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <zip.h>
#include <zlib.h>

#include "support/temp_dir.h"
#include "support/zip_reader.h"
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
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
    if (fs::is_directory(entry.symlink_status())) continue;
    const std::string file = entry.path().string();
    const std::string name = file.substr(file.rfind(tree.filename().string() + "/"));
    zipOpenNewFileInZip64(zip, name.c_str(), nullptr, nullptr, 0, nullptr, 0, nullptr,
                          level == 0 ? 0 : Z_DEFLATED, level, 0);
    const std::string content = fs::is_regular_file(entry.symlink_status()) ? readFile(file) : "";
    for (std::size_t at = 0; at < content.size(); at += 8192) {
      const std::string piece = content.substr(at, 8192);
      zipWriteInFileInZip(zip, piece.data(), static_cast<unsigned>(piece.size()));
    }
    zipCloseFileInZip(zip);
  }
  zipClose(zip, nullptr);
}

std::string packed(const fs::path& tree, unsigned threads, unsigned flags) {
  const TempDir dir;
  const fs::path archive = dir / "ours.zip";
  Zipper::Impl zip(archive.string(), "", threads);
  EXPECT_TRUE(zip.open());
  zip.add(tree.string(), flags);
  EXPECT_TRUE(zip.close());
  return readFile(archive);
}

std::string incompressible(std::size_t size) {
  std::mt19937 random(7);  // NOLINT: the same each time
  std::string content(size, ' ');
  for (char& byte : content) byte = static_cast<char>(random());
  return content;
}

/// Text and binary data, and what is neither.
std::vector<std::string> writeFiles(const fs::path& root, const std::vector<std::size_t>& sizes) {
  const char* const folders[] = {"", "sub", "sub/tree", "tree/tree/deeper"};
  std::vector<std::string> contents;
  for (const std::size_t size : sizes) {
    std::string text;
    while (text.size() < size) text += std::to_string(text.size() * size) + " is a line\n";
    for (const std::string& content : {incompressible(size), text.substr(0, size)}) {
      writeFile(root / folders[contents.size() % 4] / ("f" + std::to_string(contents.size())), content);
      contents.push_back(content);
    }
  }
  return contents;
}

TEST(DeflatePipeline, MakesTheVeryBytesOfThePlainLibrary) {
  const TempDir dir;
  const fs::path tree = dir / "tree";
  writeFiles(tree, {0, 1, 8191, 8192, 8193, 65'536, zipper::kPieceBytes});
  for (unsigned i = 0; i < 200; ++i) writeFile(tree / "many" / std::to_string(i), std::to_string(i));
  for (const char* target : {"nowhere", "f1", "/"}) {
    fs::create_symlink(target, tree / ("to" + std::to_string(*target)));
  }
  fs::create_directories(tree / "nothing/in/here");
  EXPECT_EQ(mkfifo((tree / "fifo.log").c_str(), 0600), 0);
  for (const char* name : {".hidden", "new\nline", "\xff\xfe", "mytree/x"}) writeFile(tree / name, name);
  const struct {
    unsigned flags;
    int level;
  } rows[] = {{Zipper::CompressBest, 9}, {Zipper::CompressFast, 1}, {0, 0}};
  for (const auto& row : rows) {
    fs::remove(dir / "plain.zip");
    packPlainly(dir / "plain.zip", tree, row.level);
    for (const unsigned threads : {0U, 2U, 16U}) {
      EXPECT_TRUE(packed(tree, threads, row.flags) == readFile(dir / "plain.zip")) << row.level << threads;
    }
  }
}

TEST(DeflatePipeline, LongFilesComeBackWholeAndTheSameFromAnyNumberOfThreads) {
  constexpr std::size_t kPiece = zipper::kPieceBytes;
  const TempDir dir;
  const std::vector<std::string> contents =
      writeFiles(dir / "tree", {kPiece + 1, 2 * kPiece, 3 * kPiece + 12'345});
  const std::string archive = packed(dir / "tree", 1, Zipper::CompressBest);
  EXPECT_TRUE(archive == packed(dir / "tree", 3, Zipper::CompressBest));
  EXPECT_TRUE(archive == packed(dir / "tree", 16, Zipper::CompressBest));
  std::size_t found = 0;
  for (const auto& [name, content, method] : testing_support::readZip(archive)) {
    EXPECT_TRUE(content == contents.at(std::stoul(name.substr(name.rfind('f') + 1)))) << name;
    ++found;
  }
  EXPECT_EQ(found, contents.size());
}

TEST(DeflatePipeline, AFailedWriteEndsThePackingAndNoArchiveGetsItsName) {
  const TempDir dir;
  writeFiles(dir / "tree", std::vector<std::size_t>(20, 300'000));
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  for (const rlim_t room : {100'000U, 2'000'000U}) {
    const fs::path archive = dir / std::to_string(room);
    const rlimit tight{room, limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &tight);
    Zipper::Impl zip(archive.string(), "", 3);
    EXPECT_TRUE(zip.open());
    std::size_t packedFiles = 0;
    zip.hooks.packed = [&](const std::string&) { ++packedFiles; };
    EXPECT_THROW(zip.add((dir / "tree").string(), Zipper::CompressBest), std::runtime_error);
    EXPECT_FALSE(zip.close());
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(packedFiles > 0, room > 1'000'000);
    EXPECT_FALSE(fs::exists(archive));
    EXPECT_TRUE(fs::exists(archive.string() + zipper::kPartialSuffix));
  }
}

}  // namespace

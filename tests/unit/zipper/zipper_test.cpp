#include <functional>
#include <initializer_list>
#include <map>
#include <random>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unzip.h>
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

constexpr unsigned kFlags = Zipper::CompressBest | Zipper::AppendHint;

/// Names and contents of an archive's entries. The test fails when headers of an entry differ, or its size or
/// checksum is wrong.
std::map<std::string, std::string> readZip(const fs::path& archive) {
  std::map<std::string, std::string> entries;
  const unzFile zip = unzOpen64(archive.c_str());
  for (int found = unzGoToFirstFile(zip); found == UNZ_OK; found = unzGoToNextFile(zip)) {
    unz_file_info64 info{};
    std::string name(65'535, '\0');
    unzGetCurrentFileInfo64(zip, &info, name.data(), name.size(), nullptr, 0, nullptr, 0);
    name.resize(info.size_filename);
    std::string& content = entries[name];
    content.resize(info.uncompressed_size);
    unzOpenCurrentFile(zip);
    unzReadCurrentFile(zip, content.data(), static_cast<unsigned>(content.size()));
    EXPECT_EQ(unzCloseCurrentFile(zip), UNZ_OK) << name;  // it verifies the checksum
  }
  unzClose(zip);
  return entries;
}

TEST(Zipper, EncryptsWhatHasAPassword) {
  const TempDir dir;
  for (const unsigned flags : {0U, kFlags}) {
    const fs::path archive = dir / std::to_string(flags);
    Zipper(archive.string(), "secret").add(writeFile(dir / "a", "plain text").string(), flags);
    const std::string bytes = readFile(archive);
    EXPECT_EQ(bytes.at(6) & 1, 1) << flags;
    EXPECT_EQ(bytes.find("plain text"), std::string::npos);
  }
}

TEST(SourceFile, IsLargeFromTheSizeOnThatNeedsTheLongFields) {
  const TempDir dir;
  const fs::path path = writeFile(dir / "file", "");
  for (const std::uint64_t size : {4'294'967'294U, 4'294'967'295U}) {
    fs::resize_file(path, size);
    EXPECT_EQ(isLargeFile(zipper::SourceFile(AT_FDCWD, path.c_str())), size == 4'294'967'295U) << size;
  }
}

TEST(Zipper, AnArchiveHasItsNameOnlyWhenItIsFinished) {
  const TempDir dir;
  const std::string archive = (dir / "a.zip").string();
  const std::string partial = archive + zipper::kPartialSuffix;
  const std::string file = writeFile(dir / "file", "text").string();
  EXPECT_THROW(Zipper(file, ""), std::runtime_error);  // no archive, so it stays as it is
  EXPECT_EQ(readFile(file), "text");
  Zipper first(archive, "");
  const std::string longest(65'535, 'n');
  EXPECT_THROW(first.add(longest + "n", kFlags), std::runtime_error);
  first.add(longest, kFlags);
  first.add(file, kFlags);
  EXPECT_FALSE(fs::exists(archive));
  EXPECT_THROW(Zipper(archive, ""), std::runtime_error);  // another one is at work
  first.close();
  const std::string whole = readFile(archive);
  EXPECT_EQ(readZip(archive).count(longest), 1U);
  EXPECT_FALSE(fs::exists(partial));

  const struct {
    std::function<void()> meanwhile;
    std::string left;
  } rows[] = {
      {[&] { fs::rename(partial, dir / "moved"), writeFile(partial, "foreign"); }, whole},
      {[&] { fs::remove(archive), writeFile(archive, "foreign"); }, "foreign"},
      {[&] { writeFile(archive, whole), fs::remove(partial); }, whole},
  };
  for (const auto& row : rows) {
    fs::remove(partial);
    writeFile(archive, whole);
    Zipper zip(archive, "");
    zip.add(file, kFlags);
    row.meanwhile();
    EXPECT_THROW(zip.close(), std::runtime_error);
    EXPECT_EQ(readFile(archive), row.left);
  }
}

std::string packed(const fs::path& tree, unsigned threads, unsigned flags) {
  const TempDir dir;
  Zipper::Impl zip((dir / "a.zip").string(), "", threads);
  EXPECT_TRUE(zip.open());
  zip.add(tree.string(), flags);
  EXPECT_TRUE(zip.close());
  return readFile(dir / "a.zip");
}

/// What the zip library makes of the tree when it does all by itself.
std::string packedPlainly(const fs::path& tree) {
  const TempDir dir;
  const zipFile zip = zipOpen64((dir / "plain.zip").c_str(), APPEND_STATUS_CREATE);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
    if (fs::is_directory(entry.symlink_status())) continue;
    const std::string file = entry.path().string();
    const std::string content = fs::is_regular_file(entry.symlink_status()) ? readFile(file) : "";
    zipOpenNewFileInZip64(zip, file.substr(file.rfind("tree/")).c_str(), nullptr, nullptr, 0, nullptr, 0,
                          nullptr, Z_DEFLATED, 9, 0);
    zipWriteInFileInZip(zip, content.data(), static_cast<unsigned>(content.size()));
    zipCloseFileInZip(zip);
  }
  zipClose(zip, nullptr);
  return readFile(dir / "plain.zip");
}

TEST(Zipper, TreesComeBackWholeAndAsTheSameArchiveFromAnyNumberOfThreads) {
  const TempDir dir;
  const fs::path tree = dir / "tree";
  std::map<std::string, std::string> expected = {{"tree/link", ""}, {"tree/fifo.log", ""}};
  const auto add = [&](const std::string& name, const std::string& text) {
    expected[name.substr(name.rfind("tree/"))] = text;
    writeFile(dir / name, text);
  };
  const char* const folders[] = {"tree/", "tree/sub/", "tree/sub/tree/", "tree/tree/tree/deeper/"};
  constexpr std::size_t kPiece = zipper::kPieceBytes;
  std::mt19937 random(7);  // NOLINT: the same each time
  const auto addSizes = [&](std::initializer_list<std::size_t> sizes) {
    for (const std::size_t size : sizes) {
      std::string text;
      while (text.size() < size / 2)
        text += text.size() < 30'000 ? std::to_string(random()) + " is a line\n" : text.substr(0, 30'000);
      while (text.size() < size) text += static_cast<char>(random());
      text.resize(size);
      add(folders[size % 4] + std::to_string(size), text);
    }
  };
  addSizes({0, 1, 8193, kPiece});
  for (unsigned i = 0; i < 200; ++i) add("tree/many/" + std::to_string(i), std::to_string(i));
  for (const char* name : {".hidden", "new\nline", "\xff\xfe"}) add("tree/" + std::string(name), name);
  fs::create_symlink("many", tree / "link");
  ASSERT_EQ(mkfifo((tree / "fifo.log").c_str(), 0600), 0);
  EXPECT_TRUE(packed(tree, 3, Zipper::CompressBest) == packedPlainly(tree)) << "no file is over a piece";
  addSizes({kPiece + 1, 2 * kPiece, 3 * kPiece + 12'345});
  EXPECT_LT(packed(tree, 1, Zipper::CompressBest).size(), packedPlainly(tree).size() + 5'000);
  for (const unsigned flags : {unsigned{Zipper::CompressBest}, unsigned{Zipper::CompressFast}, 0U}) {
    const std::string archive = packed(tree, 1, flags);
    for (const unsigned threads : {0U, 3U, 16U})
      EXPECT_TRUE(archive == packed(tree, threads, flags)) << threads;
    EXPECT_TRUE(readZip(writeFile(dir / "a.zip", archive)) == expected) << flags;
  }
}

}  // namespace

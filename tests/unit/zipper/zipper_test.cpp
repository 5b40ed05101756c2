#include "zipper/zipper.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"
#include "support/zip_reader.h"
#include "zipper/source_file.h"
#include "zipper/verify_archive.h"

namespace {

using testing_support::number;
using testing_support::readFile;
using testing_support::TempDir;
using testing_support::writeFile;
using testing_support::ZipEntry;
using zipper::Zipper;
namespace fs = boost::filesystem;

constexpr unsigned kFlags = Zipper::CompressBest | Zipper::AppendHint;

std::vector<std::string> names(const fs::path& archive) {
  std::vector<std::string> result;
  for (const ZipEntry& entry : testing_support::readZip(readFile(archive)))
    result.push_back(std::get<0>(entry));
  return result;
}

/// The text of the exception that `call` throws.
template <typename Call>
std::string thrown(const Call& call) {
  try {
    call();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "(nothing)";
}

TEST(Zipper, AddsToWhatIsThereAndOpensAgain) {
  const TempDir dir;
  const std::string archive = (dir / "a.zip").string();
  const std::string file = writeFile(dir / "a", "a").string();
  Zipper zip(archive, "");
  zip.close();
  EXPECT_TRUE(names(archive).empty());
  EXPECT_TRUE(zip.add(file, kFlags));  // closed: without effect
  zip.open();
  zip.add(file, kFlags);
  zip.add("/no such/file", kFlags);
  zip.add("", kFlags);
  zip.release();
  zip.open();
  zip.open();
  zip.add(file, kFlags);
  zip.close();
  EXPECT_EQ(names(archive), (std::vector<std::string>{"a", "file", "a"}));
}

TEST(Zipper, MoreEntriesThanTheEndRecordCanCountGetTheLargeOne) {
  const TempDir dir;
  const std::string archive = (dir / "a.zip").string();
  constexpr std::uint64_t kEntries = 66'000;
  for (std::uint64_t expected = kEntries; expected <= kEntries + 1; ++expected) {
    Zipper zip(archive, "");
    for (std::uint64_t i = expected == kEntries ? 0 : kEntries; i < expected; ++i) zip.add("/no such/x", 0);
    zip.close();
    const std::string bytes = readFile(archive);
    const std::size_t locator = bytes.size() - 22 - 20;
    ASSERT_EQ(bytes.substr(locator, 4), "PK\6\7");
    EXPECT_EQ(number(bytes, locator + 8, 8), locator - 56);
    EXPECT_EQ(bytes.substr(locator - 56, 4), "PK\6\6");
    EXPECT_EQ(number(bytes, locator - 56 + 32, 8), expected);
    EXPECT_TRUE(zipper::verifyArchive(archive));
  }
}

TEST(Zipper, FailuresHaveTheirTextsAndLeaveForeignFilesAlone) {
  const TempDir dir;
  const std::string noArchive = writeFile(dir / "text", "not an archive, just some text\n").string();
  const std::string fifo = (dir / "fifo").string();
  ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
  for (const std::string& path : {noArchive, fifo, dir.path().string(), (dir / "no/such/a.zip").string()}) {
    EXPECT_EQ(thrown([&] { Zipper(path, ""); }), "Error creating zip in file!") << path;
  }
  EXPECT_EQ(readFile(noArchive), "not an archive, just some text\n");

  const std::string archive = (dir / "a.zip").string();
  const std::string tooLong(65'536, 'n');
  Zipper zip(archive, "");
  EXPECT_EQ(thrown([&] { zip.add(tooLong, kFlags); }), "Error adding '" + tooLong + "' to zip");
  zip.add(tooLong.substr(1), kFlags);
  zip.close();
  EXPECT_EQ(names(archive), std::vector<std::string>{tooLong.substr(1)});
  fs::remove(archive);
  fs::create_directory(archive);
  EXPECT_EQ(thrown([&] { zip.open(); }), "Error opening zip file!");
}

TEST(Zipper, ReadsNoFurtherThanAFileReachedWhenItWasOpened) {
  const TempDir dir;
  const fs::path path = writeFile(dir / "growing", "12345678");
  std::vector<char> buffer(6);
  zipper::SourceFile growing(path.string());
  zipper::SourceFile shrinking(path.string());
  writeFile(path, "123456789012345678901234567890");
  EXPECT_EQ(growing.read(buffer), 6U);
  EXPECT_EQ(growing.read(buffer), 2U);
  EXPECT_EQ(growing.read(buffer), 0U);
  fs::resize_file(path, 3);
  EXPECT_EQ(shrinking.read(buffer), 3U);
  EXPECT_EQ(shrinking.read(buffer), 0U);
  EXPECT_FALSE(shrinking.failed());
}

TEST(Zipper, LargeSizeFieldsBeginAtFourGibibytesLessOne) {
  const TempDir dir;
  const fs::path path = writeFile(dir / "sparse", "");
  for (const std::uint64_t size : {4'294'967'294U, 4'294'967'295U}) {
    fs::resize_file(path, size);
    EXPECT_EQ(isLargeFile(zipper::SourceFile(path.string())), size == 4'294'967'295U) << size;
  }
}

TEST(Zipper, VerifiesWholeArchivesOnly) {
  const TempDir dir;
  const std::string file = writeFile(dir / "data", std::string(1000, 'd')).string();
  const std::string archive = (dir / "a.zip").string();
  Zipper(archive, "").add(file, 0);
  const std::string whole = readFile(archive);
  EXPECT_TRUE(zipper::verifyArchive(archive));
  std::string flipped = whole;
  flipped[500] = 'e';
  for (const std::string& bytes : {flipped, whole.substr(0, whole.size() - 30), std::string("text")}) {
    writeFile(archive, bytes);
    EXPECT_FALSE(zipper::verifyArchive(archive)) << bytes.size();
  }
  EXPECT_FALSE(zipper::verifyArchive((dir / "missing").string()));
}

}  // namespace

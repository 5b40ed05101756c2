#include "zipper/zipper.h"

#include <algorithm>
#include <functional>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "base/remove_tree.h"
#include "support/temp_dir.h"
#include "support/zip_reader.h"
#include "zipper/source_file.h"

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
  EXPECT_FALSE(fs::exists(noArchive + zipper::kPartialSuffix));

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
  zipper::SourceFile growing(AT_FDCWD, path.c_str());
  zipper::SourceFile shrinking(AT_FDCWD, path.c_str());
  writeFile(path, "123456789012345678901234567890");
  EXPECT_EQ(growing.read(buffer.data(), 6), 6U);
  EXPECT_EQ(growing.read(buffer.data(), 6), 2U);
  EXPECT_EQ(growing.read(buffer.data(), 6), 0U);
  fs::resize_file(path, 3);
  EXPECT_EQ(shrinking.read(buffer.data(), 6), 3U);
  EXPECT_EQ(shrinking.read(buffer.data(), 6), 0U);
  EXPECT_EQ(shrinking.error(), 0);
}

TEST(Zipper, LargeSizeFieldsBeginAtFourGibibytesLessOne) {
  const TempDir dir;
  const fs::path path = writeFile(dir / "sparse", "");
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
  Zipper first(archive, "");
  first.add(file, kFlags);
  EXPECT_FALSE(fs::exists(archive));
  EXPECT_EQ(thrown([&] { Zipper(archive, ""); }), "Error creating zip in file!");  // another one is at work
  first.close();
  const std::string whole = readFile(archive);
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
    EXPECT_EQ(thrown([&] { zip.close(); }), "Error closing zip file!");
    EXPECT_EQ(readFile(archive), row.left);
  }
}

TEST(Zipper, TellsWhatIsLostAndFollowsNoLink) {
  const TempDir dir;
  const std::string root = (dir / "root").string();
  writeFile(dir / "home/private/diary", "secret");
  writeFile(root + "/logs/kept", "kept");
  fs::create_directory_symlink(dir / "home", root + "/swapped");
  fs::create_directory_symlink(dir / "home/private", root + "/logs/link");
  fs::create_symlink(dir / "home/private/diary", root + "/logs/diary");
  std::string deep = root + "/logs";  // its path is longer than the system takes
  int folder = ::open(deep.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::string name(250, 'd');
  for (int i = 0; i < 20; ++i) {
    ASSERT_EQ(mkdirat(folder, name.c_str(), 0700), 0);
    const int below = openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ::close(folder);
    folder = below;
  }
  ::close(openat(folder, "file", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  ::close(folder);

  std::vector<std::string> told;
  Zipper zip((dir / "a.zip").string(), "");
  Zipper::Hooks hooks;
  hooks.trusted = root;
  hooks.lost = [&](const std::string& path, int error) { told.push_back(path + std::to_string(error)); };
  zip.setHooks(hooks);
  for (const char* path : {"/logs", "/swapped", "/swapped/private", "/swapped/private/diary", "/missing"}) {
    zip.add(root + path, kFlags);
  }
  zip.add(std::string(300, 'n'), kFlags);
  zip.close();
  const std::string bytes = readFile(dir / "a.zip");
  std::size_t deepest = 0;
  for (const auto& [entry, content, method] : testing_support::readZip(bytes)) {
    EXPECT_EQ(content, entry == "logs/kept" ? "kept" : "") << entry;
    deepest = std::max(deepest, entry.size());
  }
  EXPECT_EQ(deepest, 5 + 20 * 251 + 4);
  EXPECT_FALSE(quelmar::utilities::removeTree(root));
  EXPECT_EQ(told, (std::vector<std::string>{root + "/swapped/private20", root + "/swapped/private/diary20",
                                            std::string(300, 'n') + std::to_string(ENAMETOOLONG)}));
}

}  // namespace

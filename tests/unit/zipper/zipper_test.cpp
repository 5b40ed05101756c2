#include "zipper/zipper.h"

#include <csignal>
#include <map>
#include <stdexcept>

#include <sys/resource.h>
#include <unistd.h>

#include "zipper/dir_entry.h"
#include "zipper/source_file.h"
#include "zipper/verify_archive.h"
#include "zipper/zip_reader.h"
#include "zipper/zipper_impl.h"

namespace {

using testing_support::number;
using testing_support::readFile;
using testing_support::readZip;
using testing_support::TempDir;
using testing_support::writeFile;
using testing_support::ZipEntry;
using zipper::Zipper;
namespace fs = boost::filesystem;

constexpr unsigned kFlags = Zipper::CompressBest | Zipper::AppendHint;

std::vector<std::string> names(const fs::path& archive) {
  std::vector<std::string> result;
  for (const ZipEntry& entry : readZip(archive)) result.push_back(entry.name);
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

TEST(Zipper, PacksATreeUnderTheLastOccurrenceOfItsNameInTheOrderOfTheListing) {
  const TempDir dir;
  const fs::path logs = dir / "logs";
  std::map<std::string, std::string> expected = {
      {"logs/a.log", "alpha"}, {"logs/sub/b", std::string(100'000, 'b')},
      {"logs/.hidden", "h"},   {"logs/empty", ""},
      {"logs/new\nline", "n"}, {"logs/\xff\xfe", "x"},
      {"logs/fifo.log", ""},   {"logs/dangling", ""},
      {"logs/link", "alpha"}};
  expected["logs/" + std::string(250, 'l')] = "long";
  for (const auto& [name, content] : expected) writeFile(dir / name, content);
  // Names start at the nested folder, and at the end of a folder's name that ends the same way.
  writeFile(logs / "deep/logs/nested", "1");
  writeFile(logs / "mylogs/x", "2");
  expected["logs/nested"] = "1";
  expected["logs/x"] = "2";
  for (const char* name : {"fifo.log", "dangling", "link"}) fs::remove(logs / name);
  fs::create_directories(logs / "nothing/in/here");
  ASSERT_EQ(mkfifo((logs / "fifo.log").c_str(), 0600), 0);
  fs::create_symlink("nowhere", logs / "dangling");
  fs::create_symlink("a.log", logs / "link");
  fs::create_directory_symlink(".", logs / "loop");

  Zipper zip((dir / "a.zip").string(), "");
  EXPECT_TRUE(zip.add(logs.string(), kFlags));
  zip.close();

  std::vector<std::string> listed;
  for (const fs::path& path : fs::recursive_directory_iterator(logs)) {
    if (!fs::is_directory(path)) listed.push_back("logs/" + path.filename().string());
  }
  std::vector<std::string> packed;
  for (const ZipEntry& entry : readZip(dir / "a.zip")) {
    packed.push_back("logs/" + fs::path(entry.name).filename().string());
    ASSERT_TRUE(expected.count(entry.name)) << entry.name;
    EXPECT_EQ(entry.content, expected[entry.name]) << entry.name;
    EXPECT_EQ(entry.stamps, 0U) << entry.name;
    expected.erase(entry.name);
  }
  EXPECT_TRUE(expected.empty()) << expected.begin()->first << " is missing";
  EXPECT_EQ(packed, listed);
}

TEST(Zipper, FlagsChooseMethodLevelAndName) {
  const TempDir dir;
  const std::string file = writeFile(dir / "f/x.log", std::string(5000, 'x')).string();
  const struct {
    unsigned flags, method, levelBits;
    std::string name;
  } cases[] = {{18, 8, 2, "x.log"}, {8, 8, 6, "x.log"}, {8 | 16, 8, 2, "x.log"},
               {2, 0, 0, "x.log"},  {0, 0, 0, "x.log"}, {64 | 16, 8, 2, file}};
  for (const auto& row : cases) {
    const fs::path archive = dir / (std::to_string(row.flags) + ".zip");
    Zipper(archive.string(), "").add(file, row.flags);  // its end finishes the archive
    const std::vector<ZipEntry> entries = readZip(archive);
    ASSERT_EQ(entries.size(), 1U) << row.flags;
    EXPECT_EQ(entries[0].name, row.name) << row.flags;
    EXPECT_EQ(entries[0].method, row.method) << row.flags;
    EXPECT_EQ(entries[0].flags, row.levelBits) << row.flags;
    EXPECT_EQ(entries[0].stamps, 0U) << row.flags;
    EXPECT_EQ(entries[0].content, readFile(file)) << row.flags;
  }
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

/// No file of this process grows beyond so many bytes: what a full disk is to a writer.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }

 private:
  rlimit before_{};
  void (*handler_)(int);
};

TEST(Zipper, TellsAtItsEndThatTheDiskWasFull) {
  const TempDir dir;
  const std::string archive = (dir / "a.zip").string();
  const std::string file = writeFile(dir / "data", std::string(300'000, 'd')).string();
  const FileSizeLimit limit(200'000);
  Zipper zip(archive, "");
  EXPECT_TRUE(zip.add(file, 0));
  EXPECT_EQ(thrown([&] { zip.add(file, 0); }), "Error adding 'data' to zip");
  EXPECT_EQ(thrown([&] { zip.close(); }), "Error closing zip file!");
  EXPECT_FALSE(zipper::verifyArchive(archive));
  fs::remove(archive);
  Zipper(archive, "").add(file, 0);  // its end stays silent

  for (int i = 0; i < 50; ++i) {
    std::string content;
    for (unsigned n = 0; n < 30'000; ++n) content += static_cast<char>(n * n * n >> 7U);
    writeFile(dir / "tree" / std::to_string(i), content);
  }
  for (const unsigned threads : {1U, 4U}) {
    fs::remove(archive);
    Zipper::Impl zip2(archive, "", threads);
    EXPECT_TRUE(zip2.open());
    const std::string text = thrown([&] { zip2.addTree((dir / "tree").string(), kFlags); });
    EXPECT_EQ(text.substr(0, 19), "Error adding 'tree/") << threads;
    EXPECT_FALSE(zip2.close()) << threads;
  }
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

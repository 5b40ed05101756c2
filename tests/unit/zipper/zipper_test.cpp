#include "zipper/zipper.h"

#include <climits>
#include <csignal>
#include <functional>
#include <map>
#include <random>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>
#include <unzip.h>
#include <zlib.h>

#include "support/temp_dir.h"
#include "zipper/archive_file.h"
#include "zipper/deflate_pipeline.h"
#include "zipper/source_files.h"

namespace {

using quelmar::utilities::Links;
using testing_support::readFile;
using testing_support::TempDir;
using testing_support::writeFile;
using zipper::Zipper;
using Entries = std::map<std::string, std::string>;
using Errors = std::map<std::string, int>;
namespace fs = boost::filesystem;

constexpr unsigned kFlags = Zipper::CompressBest | Zipper::AppendHint;

/// Names and contents of an archive's entries. The test fails when headers of an entry differ, or its size or
/// checksum is wrong.
Entries readZip(const fs::path& archive) {
  Entries entries;
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

std::string packed(const fs::path& path, unsigned flags, Zipper::Hooks hooks) {
  const TempDir dir;
  Zipper zip((dir / "a.zip").string(), "");
  zip.setHooks(std::move(hooks));
  zip.add(path.string(), flags);
  zip.close();
  return readFile(dir / "a.zip");
}

TEST(Zipper, EntriesGetTheLongFieldsWhenTheirSizePackedOrNotMayNeedThem) {
  const TempDir dir;
  const std::map<std::pair<std::uint64_t, unsigned>, bool> rows = {
      {{4'294'967'294U, 0}, false},
      {{4'294'967'295U, 0}, true},
      {{4'290'000'000U, kFlags}, false},
      {{4'293'700'000U, kFlags}, true}};  // a file of noise: its packed size
  for (const auto& [row, isLarge] : rows) {
    const fs::path path = writeFile(dir / "file", "");
    fs::resize_file(path, row.first);
    Zipper::Hooks hooks;
    hooks.mayBePacked = [&](const struct stat&) { return fs::resize_file(path, 0), true; };  // soon read
    EXPECT_EQ(packed(path, row.second, hooks).at(4) == 45, isLarge) << row.first;
  }
}

/// Tells whether this process has the file open.
bool isOpen(const struct stat& file) {
  struct stat found {};
  int fd = 0;
  while (fd < 256 && (fstat(fd, &found) != 0 || found.st_ino != file.st_ino)) ++fd;
  return fd < 256;
}

TEST(Zipper, AnArchiveHasItsNameOnlyWhenItIsFinished) {
  const TempDir dir;
  const std::string archive = (dir / "a.zip").string();
  const std::string partial = archive + zipper::kPartialSuffix;
  const std::string file = writeFile(dir / "file", "text").string();
  for (const std::string& text :
       {std::string("text"), std::string(99, '\0'), std::string("PK\5\6 and no more")}) {
    EXPECT_THROW(Zipper(writeFile(archive, text).string(), ""), std::runtime_error);
    EXPECT_EQ(readFile(archive), text);
  }
  fs::remove(archive);
  Zipper first(archive, "");
  const std::string longest(65'535, 'n');
  for (const std::string& added : {longest, longest + "n", file}) first.add(added, kFlags);
  EXPECT_FALSE(fs::exists(archive));
  EXPECT_THROW(Zipper(archive, ""), std::runtime_error);  // another one is at work
  EXPECT_NE(flock(open(partial.c_str(), O_RDONLY), LOCK_EX | LOCK_NB), 0);
  first.close();
  const std::string whole = readFile(archive);
  EXPECT_TRUE(readZip(archive) == (Entries{{longest, ""}, {"file", "text"}}));
  EXPECT_FALSE(fs::exists(partial));

  const auto failToWrite = [&](Zipper& zip) {
    const rlimit none{0, RLIM_INFINITY};
    const rlimit all{RLIM_INFINITY, RLIM_INFINITY};
    signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &none);
    zip.add(writeFile(dir / "noise", std::string(20'000, 'n')).string(), 0);
    setrlimit(RLIMIT_FSIZE, &all);  // what is written later is there
  };
  const struct {
    std::string before;
    std::function<void(Zipper&)> meanwhile;
    std::string left;
  } rows[] = {
      {whole, [&](Zipper&) { fs::rename(partial, dir / "moved"), writeFile(partial, "foreign"); }, whole},
      {whole, [&](Zipper&) { fs::remove(archive), writeFile(archive, "foreign"); }, "foreign"},
      {"", [&](Zipper&) { writeFile(archive, "foreign"); }, "foreign"},
      {whole, [&](Zipper&) { fs::remove(partial); }, whole},
      {whole, failToWrite, whole},
  };
  for (const auto& row : rows) {
    struct stat old {};
    for (const std::string& path : {partial, archive}) fs::remove(path);
    if (!row.before.empty()) stat(writeFile(archive, row.before).c_str(), &old);
    Zipper zip(archive, "");
    zip.add(file, kFlags);
    EXPECT_EQ(zip.entries(), row.before.empty() ? 1U : 3U);
    row.meanwhile(zip);
    EXPECT_TRUE(row.before.empty() || isOpen(old)) << "else another file could get its number";
    EXPECT_THROW(zip.close(), std::runtime_error);
    EXPECT_EQ(readFile(archive), row.left);
  }
}

TEST(Zipper, TreesComeBackWholeAndAsTheSameArchiveFromAnyNumberOfThreads) {
  const TempDir dir;
  const fs::path tree = dir / "tree";
  Entries expected;
  const auto add = [&](const std::string& name, const std::string& text) {
    expected[name.substr(name.rfind("tree/"))] = text;
    writeFile(dir / name, text);
  };
  std::mt19937 random(7);  // NOLINT: the same each time
  std::string noise(zipper::kPieceBytes, '\0');
  for (char& byte : noise) byte = static_cast<char>(random());
  std::string text;
  while (text.size() < 30'000) text += std::to_string(random()) + " is a line\n";
  while (text.size() < 3 * noise.size() + 12'345) text += text;
  const char* const folders[] = {"tree/", "tree/sub/", "tree/sub/tree/", "tree/tree/tree/deeper/"};
  for (const std::size_t size : {0, 1, 8193, 1'048'576, 1'048'577})
    for (const std::string& from : {noise, text})
      add(folders[size % 4] + std::to_string(size) + (from == text ? "t" : "n"), from.substr(0, size));
  add("tree/mixed", text + noise + text);
  for (unsigned i = 0; i < 200; ++i) add("tree/many/" + std::to_string(i), std::to_string(i));
  for (const char* name : {".hidden", "new\nline", "\xff\xfe"}) add("tree/" + std::string(name), name);
  fs::create_symlink("many", tree / "link");
  ASSERT_EQ(mkfifo((tree / "fifo.log").c_str(), 0600), 0);
  for (const char* name : {"folder/foreign", "foreign"}) writeFile(tree / name, "");
  for (const char* name : {"folder", "foreign"})
    fs::permissions(tree / name, fs::add_perms | fs::others_write);

  Errors lost;
  Zipper::Hooks hooks;
  hooks.lost = [&](const std::string& path, int error) { lost[path.substr(tree.size())] = error; };
  hooks.mayBePacked = [](const struct stat& info) { return (info.st_mode & S_IWOTH) == 0; };
  for (const unsigned flags : {kFlags, unsigned{Zipper::CompressFast}, 0U}) {
    hooks.threads = 1;
    const std::string archive = packed(tree, flags, hooks);
    for (hooks.threads = 0; hooks.threads < 17; hooks.threads += 8)
      EXPECT_TRUE(archive == packed(tree, flags, hooks)) << hooks.threads;
    EXPECT_TRUE(readZip(writeFile(dir / "a.zip", archive)) == expected) << flags;
    EXPECT_EQ(lost,
              (Errors{{"/link", ENOTSUP}, {"/fifo.log", ENOTSUP}, {"/folder", EPERM}, {"/foreign", EPERM}}));
  }
  // A file of several pieces is hardly larger than if it were deflated as one.
  std::string whole(compressBound(text.size()), '\0');
  uLong size = whole.size();
  compress2(reinterpret_cast<Bytef*>(whole.data()), &size, reinterpret_cast<const Bytef*>(text.data()),
            text.size(), 9);
  EXPECT_LT(packed(writeFile(dir / "text", text), kFlags, {}).size(), size + 5'000);
}

TEST(Zipper, FoldersWhosePathIsTooLongAreToldAndNotEntered) {
  const TempDir dir;
  for (const char* name : {"a", "sub/b"}) writeFile(dir / name, "");
  Errors told;
  std::error_code ec;
  zipper::filesFromDirectory(
      quelmar::utilities::Folder(openFolder(dir.path().string(), Links::kAny, ec)),
      std::string(PATH_MAX - 4, 'p'), [](const struct stat&) { return true; },
      [&](const std::string& path, int error) { told[path.substr(PATH_MAX - 4)] = error; },
      [&](const std::string& path, const zipper::SourceFile&) { told[path.substr(PATH_MAX - 4)] = 0; });
  EXPECT_EQ(told, (Errors{{"/a", 0}, {"/sub", ENAMETOOLONG}}));
}

}  // namespace

#include "zipper/zipper.h"

#include <functional>
#include <map>
#include <random>
#include <set>
#include <tuple>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unzip.h>

#include "support/temp_dir.h"
#include "zipper/archive_file.h"

namespace {

using namespace testing_support;
using zipper::Zipper;
using Entries = std::map<std::string, std::string>;

constexpr unsigned kFlags = Zipper::CompressBest | Zipper::AppendHint;

/// Names and contents of an archive's entries. The test fails when an entry's checksum is wrong.
Entries readZip(const fs::path& archive) {
  Entries entries;
  const unzFile zip = unzOpen64(archive.c_str());
  for (int found = unzGoToFirstFile(zip); found == UNZ_OK; found = unzGoToNextFile(zip)) {
    unz_file_info64 info{};
    std::string name(65'535, '\0');
    unzGetCurrentFileInfo64(zip, &info, name.data(), name.size(), nullptr, 0, nullptr, 0);
    std::string& content = entries[name.substr(0, info.size_filename)];
    content.resize(info.uncompressed_size);
    unzOpenCurrentFile(zip);
    unzReadCurrentFile(zip, content.data(), static_cast<unsigned>(content.size()));
    EXPECT_EQ(unzCloseCurrentFile(zip), UNZ_OK) << name;
  }
  unzClose(zip);
  return entries;
}

std::string packed(const fs::path& path, unsigned flags, Zipper::Hooks hooks) {
  const TempDir dir;
  Zipper zip((dir / "a.zip").string(), "");
  zip.setHooks(std::move(hooks));
  zip.add(path.string(), flags);
  zip.close();
  return readFile(dir / "a.zip");
}

TEST(Zipper, LargeEntriesGet64BitFields) {
  const TempDir dir;
  const fs::path path = writeFile(dir / "file", "plain text");
  // Noise of the last size is longer than 4 GiB when it is packed. The files are cut off before they are read.
  for (const auto& [size, flags, isLarge] :
       {std::tuple(4'294'967'294U, 0U, false), std::tuple(4'294'967'295U, 0U, true),
        std::tuple(4'290'000'000U, kFlags, false), std::tuple(4'293'700'000U, kFlags, true)}) {
    Zipper::Hooks hooks;
    hooks.mayBePacked = [&](const struct stat&) { return fs::resize_file(path, 0), true; };
    fs::resize_file(path, size);
    EXPECT_EQ(packed(path, flags, hooks).at(4) == 45, isLarge) << size;
  }
}

TEST(Zipper, AnArchiveHasItsNameOnlyWhenItIsFinished) {
  const TempDir dir;
  const std::string archive = (dir / "a.zip").string(), partial = archive + zipper::kPartialSuffix;
  const std::string file = writeFile(dir / "file", "text").string(), longest(65'535, 'n');
  for (const auto& text : {std::string("text"), std::string(99, '\0'), std::string("PK\5\6 and no more")}) {
    for (const std::string& path : {archive, partial}) {  // neither is this run's
      EXPECT_THROW(Zipper((writeFile(path, text), archive), ""), std::runtime_error);
      EXPECT_EQ(readFile(path), text);
      fs::remove(path);
    }
  }
  Zipper first(archive, "");
  for (const std::string& added : {longest, longest + "n", file}) first.add(added, kFlags);
  EXPECT_FALSE(fs::exists(archive));
  EXPECT_THROW(Zipper(archive, ""), std::runtime_error);  // another one is at work
  EXPECT_NE(flock(open(partial.c_str(), O_RDONLY), LOCK_EX | LOCK_NB), 0);
  first.close();
  const std::string whole = readFile(archive);
  EXPECT_TRUE(readZip(archive) == (Entries{{longest, ""}, {"file", "text"}}));
  EXPECT_FALSE(fs::exists(partial));

  const std::tuple<std::string, std::function<void()>, std::string> rows[] = {
      {whole, [&] { fs::rename(partial, dir / "moved"), writeFile(partial, "foreign"); }, whole},
      {whole, [&] { fs::remove(archive), writeFile(archive, "foreign"); }, "foreign"},
      {"", [&] { writeFile(archive, "foreign"); }, "foreign"},
      {whole, [&] { fs::remove(partial); }, whole}};
  for (const auto& [before, meanwhile, left] : rows) {
    for (const std::string& path : {partial, archive}) fs::remove(path);
    if (!before.empty()) writeFile(archive, before);
    Zipper zip(archive, "");
    zip.add(file, kFlags);
    EXPECT_EQ(zip.entries(), before.empty() ? 1U : 3U);
    meanwhile();
    EXPECT_THROW(zip.close(), std::runtime_error);
    EXPECT_EQ(readFile(archive), left);
  }
}

TEST(Zipper, TreesComeBackWholeAndAsTheSameArchiveFromAnyNumberOfThreads) {
  const TempDir dir;
  Entries expected;
  const auto add = [&](const std::string& name, const std::string& text) {
    return writeFile(dir / name, expected[name.substr(name.rfind("tree/"))] = text);
  };
  std::mt19937 random(7);  // NOLINT: the same each time
  std::string text, noise;
  while (text.size() < 30'000) text += std::to_string(random()) + " is a line\n";
  while (text.size() < 2'300'000) text += text.substr(0, 30'000);
  while (noise.size() < 1'048'577) noise += static_cast<char>(random());
  for (const std::size_t size : {0U, 1U, 8193U, 1'048'576U, 1'048'577U}) {
    add("tree/tree/tree/deeper/" + std::to_string(size), text.substr(0, size));
    add("tree/sub/" + std::to_string(size), noise.substr(0, size));
  }
  const fs::path one = add("tree/one", text.substr(0, 1'000'000)), three = add("tree/sub/tree/three", text);
  for (unsigned i = 0; i < 200; ++i) add("tree/many/" + std::to_string(i), std::to_string(i));
  for (const unsigned flags : {kFlags, unsigned{Zipper::CompressFast}, 0U}) {
    std::set<std::string> archives;
    for (const unsigned threads : {1U, 0U, 16U}) {
      Zipper::Hooks hooks;
      hooks.threads = threads;
      archives.insert(packed(dir / "tree", flags, hooks));
    }
    ASSERT_EQ(archives.size(), 1U) << flags;
    EXPECT_TRUE(readZip(writeFile(dir / "a.zip", *archives.begin())) == expected) << flags;
  }
  EXPECT_LT(packed(three, kFlags, {}).size(), 2 * packed(one, kFlags, {}).size()) << "pieces have no dictionary";
}

}  // namespace

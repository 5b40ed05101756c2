#include "zipper/zipper.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <set>
#include <tuple>

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;
using zipper::Zipper;

constexpr unsigned kFlags = Zipper::CompressBest | Zipper::AppendHint;
constexpr char kArchive[] = "a.zip", kPartial[] = "a.zip.incomplete";

void writeFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string readFile(const char* path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// The bytes of a new archive of this file or folder.
std::string packed(const char* path, unsigned flags, Zipper::Hooks hooks) {
  fs::remove(kArchive);
  Zipper zip(kArchive, "");
  zip.setHooks(std::move(hooks));
  zip.add(path, flags);
  zip.close();
  return readFile(kArchive);
}

TEST(Zipper, LargeEntriesGet64BitFields) {
  writeFile("file", "");
  // Noise of the last size is longer than 4 GiB when it is packed. The files are cut off before they are read.
  for (const auto& [size, flags, isLarge] :
       {std::tuple(4'294'967'294U, 0U, false), std::tuple(4'294'967'295U, 0U, true),
        std::tuple(4'290'000'000U, kFlags, false), std::tuple(4'293'700'000U, kFlags, true)}) {
    Zipper::Hooks hooks;
    hooks.mayBePacked = [](const struct stat&) { return fs::resize_file("file", 0), true; };
    fs::resize_file("file", size);
    EXPECT_EQ(packed("file", flags, hooks).at(4) == 45, isLarge) << size;
  }
}

TEST(Zipper, AnArchiveHasItsNameOnlyWhenItIsFinished) {
  const std::string longest(65'535, 'n');
  writeFile("file", "text");
  for (const auto& text : {std::string("text"), std::string(99, '\0'), std::string("PK\5\6 and no more")}) {
    for (const char* path : {kArchive, kPartial}) {  // neither is this run's
      writeFile(path, text);
      EXPECT_THROW(Zipper(kArchive, ""), std::runtime_error);
      EXPECT_EQ(readFile(path), text);
      fs::remove(path);
    }
  }
  Zipper first(kArchive, "");
  for (const std::string& added : {longest, longest + "n", std::string("file")}) first.add(added, kFlags);
  EXPECT_FALSE(fs::exists(kArchive));
  EXPECT_THROW(Zipper(kArchive, ""), std::runtime_error);  // another one is at work
  EXPECT_NE(std::system("flock -n a.zip.incomplete true"), 0);
  first.close();
  EXPECT_FALSE(fs::exists(kPartial));

  const std::string whole = readFile(kArchive);
  const std::tuple<std::string, std::function<void()>, std::string> rows[] = {
      {whole, [] { fs::rename(kPartial, "moved"), writeFile(kPartial, "foreign"); }, whole},
      {whole, [] { fs::remove(kArchive), writeFile(kArchive, "foreign"); }, "foreign"},
      {"", [] { writeFile(kArchive, "foreign"); }, "foreign"},
      {whole, [] { fs::remove(kPartial); }, whole}};
  for (const auto& [before, meanwhile, left] : rows) {
    for (const char* path : {kPartial, kArchive}) fs::remove(path);
    if (!before.empty()) writeFile(kArchive, before);
    Zipper zip(kArchive, "");
    zip.add("file", kFlags);
    EXPECT_EQ(zip.entries(), before.empty() ? 1U : 3U);
    meanwhile();
    EXPECT_THROW(zip.close(), std::runtime_error);
    EXPECT_EQ(readFile(kArchive), left);
  }
}

TEST(Zipper, TreesComeBackWholeAndAsTheSameArchiveFromAnyNumberOfThreads) {
  std::mt19937 random(7);  // NOLINT: the same each time
  std::string text;
  while (text.size() < 30'000) text += std::to_string(random()) + " is a line\n";
  while (text.size() < 2'300'000) text += text.substr(0, 30'000);
  fs::create_directory("tree");
  for (const std::size_t size : {0U, 1U, 8193U, 1'000'000U, 1'048'576U, 1'048'577U, 2'300'000U}) {
    writeFile("tree/" + std::to_string(size), text.substr(0, size));
  }
  for (const unsigned flags : {kFlags, unsigned{Zipper::CompressFast}, 0U}) {
    std::set<std::string> archives;
    for (const unsigned threads : {1U, 0U, 16U}) {
      Zipper::Hooks hooks;
      hooks.threads = threads;
      archives.insert(packed("tree", flags, hooks));
    }
    EXPECT_EQ(archives.size(), 1U) << flags;
    EXPECT_EQ(std::system("unzip -q a.zip -d unpacked && diff -r unpacked/tree tree && rm -r unpacked"), 0) << flags;
  }
  EXPECT_LT(packed("tree/2300000", kFlags, {}).size(), 2 * packed("tree/1000000", kFlags, {}).size())
      << "pieces have no dictionary";
}

}  // namespace

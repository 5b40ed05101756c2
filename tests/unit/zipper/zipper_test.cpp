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

void writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(fs::absolute(path).parent_path());
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
  first.close();
  const std::string whole = readFile(kArchive);
  EXPECT_FALSE(fs::exists(kPartial));

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
  const auto add = [](const std::string& name, const std::string& text) {
    for (const std::string& path : {name, "expected/" + name.substr(name.rfind("tree/"))}) writeFile(path, text);
  };
  std::mt19937 random(7);  // NOLINT: the same each time
  std::string text, noise;
  while (text.size() < 30'000) text += std::to_string(random()) + " is a line\n";
  while (text.size() < 2'300'000) text += text.substr(0, 30'000);
  while (noise.size() < 1'048'577) noise += static_cast<char>(random());
  add("tree/one", text.substr(0, 1'000'000));
  add("tree/sub/tree/three", text);
  for (std::size_t number = 0; number < 15; ++number) {
    const std::size_t sizes[] = {0, 1, 8193, 1'048'576, 1'048'577};
    add("tree/tree/tree/deeper/" + std::to_string(number), noise.substr(0, sizes[number % 5]));
  }
  for (const unsigned flags : {kFlags, unsigned{Zipper::CompressFast}, 0U}) {
    std::set<std::string> archives;
    for (const unsigned threads : {1U, 0U, 16U}) {
      Zipper::Hooks hooks;
      hooks.threads = threads;
      archives.insert(packed("tree", flags, hooks));
    }
    EXPECT_EQ(archives.size(), 1U) << flags;
    EXPECT_EQ(std::system("unzip -q a.zip -d unpacked && diff -r unpacked expected && rm -r unpacked"), 0) << flags;
  }
  EXPECT_LT(packed("tree/sub/tree/three", kFlags, {}).size(), 2 * packed("tree/one", kFlags, {}).size())
      << "pieces have no dictionary";
}

}  // namespace

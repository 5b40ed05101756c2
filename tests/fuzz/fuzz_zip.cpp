// The zip writer over any names, contents, trees and flags, read back by a reader that shares no code with
// it.
#include <algorithm>
#include <stdexcept>
#include <vector>

#include <boost/filesystem/operations.hpp>

#include "fuzzing.h"
#include "support/zip_reader.h"
#include "zipper/zipper.h"

namespace {

namespace fs = boost::filesystem;
using testing_support::ZipEntry;

/// Text of the input, repeated, so that contents outgrow the writer's buffers.
std::string content(fuzzing::Input& input) {
  const std::string piece = input.text(input.below(48));
  const unsigned times = input.below(8) == 0 ? input.byte() * 16 : 1;
  std::string all;
  for (unsigned i = 0; i < times; ++i) all += piece;
  return all;
}

unsigned method(unsigned flags) {
  return (flags & (zipper::Zipper::CompressFast | zipper::Zipper::CompressBest)) != 0 ? 8 : 0;
}

void addTree(fuzzing::Input& input, zipper::Zipper& zip, unsigned flags, const fs::path& parent,
             std::vector<ZipEntry>& expected) {
  const std::string folder = input.name();
  const fs::path top = parent / folder;
  if (!fs::create_directory(top)) return;
  std::vector<fs::path> folders{top};
  for (unsigned entries = input.below(6); entries > 0; --entries) {
    const std::string name = input.below(4) == 0 ? folder : input.name();
    const fs::path path = folders[input.below(folders.size())] / name;
    if (fs::exists(path)) continue;
    if (input.below(3) == 0) {
      fs::create_directory(path);
      folders.push_back(path);
      continue;
    }
    const std::string text = content(input);
    fuzzing::writeFile(path, text);
    const std::string full = path.string();
    expected.emplace_back(full.substr(full.rfind(folder + "/")), text, method(flags));
  }
  fuzzing::require(zip.add(top.string(), flags), "add answers true");
}

void addFile(fuzzing::Input& input, zipper::Zipper& zip, unsigned flags, const fs::path& parent,
             std::vector<ZipEntry>& expected) {
  const fs::path path = parent / input.name();
  const bool exists = input.below(8) != 0;
  const std::string text = exists ? content(input) : "";
  if (exists) fuzzing::writeFile(path, text);
  const bool full = (flags & zipper::Zipper::StoreFullPath) != 0;
  expected.emplace_back(full ? path.string() : path.filename().string(), text, method(flags));
  fuzzing::require(zip.add(path.string(), flags), "add answers true");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fs::path folder = fuzzing::freshFolder("zip");
  const fs::path archive = folder / "a.zip";
  fuzzing::Input input(data, size);
  std::vector<ZipEntry> expected;
  try {
    zipper::Zipper zip(archive.string(), "");
    for (int step = 0; step < 12 && !input.empty(); ++step) {
      const fs::path parent = folder / std::to_string(step);
      fs::create_directory(parent);
      const unsigned flags = input.byte();
      const unsigned kind = input.below(6);
      if (kind == 0) {
        zip.close();
        zip.open();
      } else if (kind < 3) {
        addTree(input, zip, flags, parent, expected);
      } else {
        addFile(input, zip, flags, parent, expected);
      }
    }
    zip.close();
    std::vector<ZipEntry> actual = testing_support::readZip(fuzzing::readFile(archive));
    std::sort(actual.begin(), actual.end());
    std::sort(expected.begin(), expected.end());
    fuzzing::require(actual == expected, "the archive holds what was added, nothing else");
  } catch (const std::exception& failure) {
    fuzzing::require(false, failure.what());
  }
  return 0;
}

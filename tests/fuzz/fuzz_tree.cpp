// Copying, walking and removing trees of odd entries: the copy holds the tree's folders and readable files,
// and neither the tree nor a bystander's folder changes.
#include <map>
#include <vector>

#include "collect/directory_size.h"
#include "collect/file_system.h"
#include "fuzzing.h"
#include "workspace/housekeeping.h"

namespace {

namespace fs = boost::filesystem;
using Snapshot = std::map<std::string, std::string>;

bool isFile(const fs::path& path) {
  return fs::is_regular_file(fs::symlink_status(path));
}

/// Every entry below `root`: its mode and, of files and links, what they say.
Snapshot snapshot(const fs::path& root) {
  Snapshot found;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    const fs::file_status status = fs::symlink_status(entry.path());
    std::string& text = found[entry.path().string().substr(root.size())];
    text = std::to_string(status.type()) + " " + std::to_string(status.permissions()) + " ";
    if (fs::is_symlink(status)) text += fs::read_symlink(entry.path()).string();
    if (isFile(entry.path())) text += fuzzing::readFile(entry.path());
  }
  return found;
}

void addEntry(fuzzing::Input& input, std::vector<fs::path>& folders, const fs::path& bystander) {
  const fs::path path = folders[input.below(folders.size())] / input.name();
  const fs::path targets[] = {".",       "..",      bystander / "folder",   bystander / "fifo",
                              "nowhere", bystander, bystander / "keep.log", path};
  boost::system::error_code ec;
  switch (input.below(8)) {
    case 0:
    case 1:
      if (path.size() < 600 && fs::create_directory(path, ec)) folders.push_back(path);
      break;
    case 2:
      mkfifo(path.c_str(), 0644);
      break;
    case 3:
      fs::create_symlink(targets[input.below(8)], path, ec);
      break;
    case 4:
      fs::create_hard_link(bystander / "keep.log", path, ec);
      break;
    default:
      if (fs::exists(fs::symlink_status(path, ec))) break;
      fuzzing::writeFile(path, input.text(input.below(64)));
      chmod(path.c_str(), input.byte() * 16 + 0400);
  }
}

/// Ends the process unless `to` is what copying `from` must give.
void requireCopy(const fs::path& from, const fs::path& to, const quelmar::logutils::FileFilter& filter) {
  std::size_t expected = 0;
  for (const auto& [name, text] : snapshot(from)) {
    boost::system::error_code ec;
    const fs::file_status copy = fs::symlink_status(to / name, ec);
    const bool isFolder = fs::is_directory(fs::symlink_status(from / name, ec));
    const bool taken = !isFolder && filter((from / name).string()) && fs::is_regular_file(from / name, ec);
    expected += isFolder || taken ? 1 : 0;
    fuzzing::require(!isFolder || fs::is_directory(copy), "folders are copied");
    fuzzing::require(!taken || (fs::is_regular_file(copy) && (copy.permissions() & 07000) == 0 &&
                                fuzzing::readFile(from / name) == fuzzing::readFile(to / name)),
                     "files and what links to them are copied, without set-id bits");
  }
  fuzzing::require(snapshot(to).size() == expected, "nothing else is copied");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const testing_support::TempDir elsewhere;
  const fs::path& bystander = elsewhere.path();
  fuzzing::writeFile(bystander / "keep.log", "precious");
  fuzzing::writeFile(bystander / "folder/keep.log", "precious");
  mkfifo((bystander / "fifo").c_str(), 0600);
  const fs::path from = fuzzing::freshFolder("from");
  const fs::path to = fuzzing::freshFolder("to");
  fuzzing::Input input(data, size);
  std::vector<fs::path> folders{from};
  for (int entries = 0; entries < 48 && !input.empty(); ++entries) addEntry(input, folders, bystander);

  const Snapshot precious = snapshot(bystander);
  const Snapshot before = snapshot(from);
  const auto filter = [&](const std::string& path) {
    return path.find('x', from.size()) == std::string::npos;
  };
  fuzzing::require(!quelmar::helper::copyDir(from, to, filter), "copying a folder that is there succeeds");
  requireCopy(from, to, filter);
  std::uintmax_t bytes = 0;
  for (const auto& [name, text] : before) bytes += isFile(from / name) ? fs::file_size(from / name) : 0;
  fuzzing::require(quelmar::getDirectorySize(from.string(), {}) == bytes, "links do not count for its size");

  std::size_t handedOut = 0;
  int depth = 0;
  const auto count = [&](const std::string&) { ++handedOut; };
  quelmar::helper::directoryWalker(
      from, [&](const std::string&) { ++depth; }, [&](const std::string&) { ++handedOut, --depth; }, count);
  fuzzing::require(handedOut == before.size() && depth == 0, "the walk hands out every entry once");
  fuzzing::require(snapshot(from) == before, "the tree itself stays as it was");

  for (const fs::path& folder : {from, to}) {
    quelmar::cleanDir(folder.string(), true);
    fuzzing::require(!fs::exists(fs::symlink_status(folder)), "both are removed");
  }
  fuzzing::require(snapshot(bystander) == precious, "a bystander's folder is not touched");
  return 0;
}

// Copying, walking, measuring and removing trees of odd entries: what is copied is what a plain reading of
// the tree expects, and neither the tree nor a bystander's folder changes.
#include <map>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "collect/directory_size.h"
#include "collect/file_system.h"
#include "fuzzing.h"
#include "workspace/housekeeping.h"

namespace {

namespace fs = boost::filesystem;
using Snapshot = std::map<std::string, std::string>;

/// Every entry below `root`, links as what they say; directories and special files by their mode.
Snapshot snapshot(const fs::path& root) {
  Snapshot found;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
    const fs::file_status status = fs::symlink_status(entry.path());
    std::string& text = found[entry.path().string().substr(root.size())];
    if (fs::is_symlink(status)) {
      text = "-> " + fs::read_symlink(entry.path()).string();
    } else {
      text = std::to_string(status.type()) + " " + std::to_string(status.permissions()) + " ";
      if (fs::is_regular_file(status)) text += fuzzing::readFile(entry.path());
    }
  }
  return found;
}

void addEntry(fuzzing::Input& input, std::vector<fs::path>& folders, std::vector<fs::path>& files,
              const fs::path& bystander) {
  const fs::path path = folders[input.below(static_cast<unsigned>(folders.size()))] / input.name();
  boost::system::error_code ec;
  switch (input.below(8)) {
    case 0:
    case 1:
      if (path.size() < 600 && fs::create_directory(path, ec)) folders.push_back(path);
      break;
    case 2:
      mkfifo(path.c_str(), 0644);
      break;
    case 3: {
      const fs::path targets[] = {".", "..", "/", "/dev/zero", "nowhere", bystander, bystander / "keep.log",
                                  path};
      fs::create_symlink(targets[input.below(8)], path, ec);
      break;
    }
    case 4:
      if (!files.empty()) {
        fs::create_hard_link(files[input.below(static_cast<unsigned>(files.size()))], path, ec);
      }
      break;
    default:
      if (fs::exists(fs::symlink_status(path, ec))) break;
      fuzzing::writeFile(path, input.text(input.below(64)));
      chmod(path.c_str(), input.byte() * 16 + 0400);
      files.push_back(path);
  }
}

bool isAccepted(const std::string& path) {
  return path.find('x') == std::string::npos;
}

/// What copying `from` must give at `to`.
Snapshot expectedCopy(const fs::path& from) {
  Snapshot expected;
  for (const auto& [name, text] : snapshot(from)) {
    const fs::path path = from / name;
    boost::system::error_code ec;
    if (fs::is_directory(fs::symlink_status(path))) {
      expected[name] = "directory";
    } else if (isAccepted(path.string().substr(from.size())) && fs::is_regular_file(fs::status(path, ec))) {
      expected[name] = "file " + fuzzing::readFile(path);
    }
  }
  return expected;
}

Snapshot actualCopy(const fs::path& to) {
  Snapshot actual;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(to)) {
    const fs::file_status status = fs::symlink_status(entry.path());
    fuzzing::require(fs::is_directory(status) || fs::is_regular_file(status), "a copy has files and folders");
    fuzzing::require((status.permissions() & 07000) == 0, "no set-id bit travels");
    actual[entry.path().string().substr(to.size())] =
        fs::is_directory(status) ? "directory" : "file " + fuzzing::readFile(entry.path());
  }
  return actual;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fs::path bystander = fuzzing::workshop().fresh("bystander");
  fuzzing::writeFile(bystander / "keep.log", "precious");
  const Snapshot precious = snapshot(bystander);
  const fs::path from = fuzzing::workshop().fresh("from");
  const fs::path to = fuzzing::workshop() / "to";
  fs::remove_all(to);

  fuzzing::Input input(data, size);
  std::vector<fs::path> folders{from};
  std::vector<fs::path> files;
  for (int entries = 0; entries < 48 && !input.empty(); ++entries) addEntry(input, folders, files, bystander);

  const Snapshot before = snapshot(from);
  const auto filter = [&from](const std::string& path) { return isAccepted(path.substr(from.size())); };
  fuzzing::require(!quelmar::helper::copyDir(from, to, filter), "copying a folder that is there succeeds");
  fuzzing::require(actualCopy(to) == expectedCopy(from), "the copy is the tree's readable files");
  quelmar::getDirectorySize(from.string(), {});

  std::size_t handedOut = 0;
  int depth = 0;
  quelmar::helper::directoryWalker(
      from, [&](const std::string&) { ++depth; },
      [&](const std::string&) {
        --depth;
        ++handedOut;
      },
      [&](const std::string&) { ++handedOut; });
  fuzzing::require(handedOut == before.size() && depth == 0, "the walk hands out every entry once");
  fuzzing::require(snapshot(from) == before, "the tree itself stays as it was");

  quelmar::cleanDir(to.string(), true);
  quelmar::cleanDir(from.string(), true);
  fuzzing::require(!fs::exists(fs::symlink_status(to)) && !fs::exists(fs::symlink_status(from)),
                   "both are removed");
  fuzzing::require(snapshot(bystander) == precious, "a bystander's folder is not touched");
  return 0;
}

#include "workspace/housekeeping.h"

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <utility>
#include <vector>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>

#include "collect/file_selection.h"
#include "collect/file_system.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

// Fewer than this many archives stay before a run, so that with the new one at most as many remain.
constexpr std::size_t kMaxArchives = 5;

using DatedFile = std::pair<std::string, std::time_t>;

std::vector<DatedFile> regularFiles(const std::string& dir) {
  std::vector<DatedFile> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(dir)) {
    if (fs::is_regular_file(fs::symlink_status(entry.path()))) {
      files.emplace_back(entry.path().string(), fs::last_write_time(entry.path()));
    }
  }
  return files;
}

void removeOldest(const std::string& dir) {
  std::vector<DatedFile> files = regularFiles(dir);
  if (files.size() < kMaxArchives) return;
  std::sort(files.begin(), files.end(),
            [](const DatedFile& one, const DatedFile& other) { return one.second < other.second; });
  const auto surplus = static_cast<std::ptrdiff_t>(files.size() - (kMaxArchives - 1));
  std::for_each(files.begin(), files.begin() + surplus,
                [](const DatedFile& file) { fs::remove(file.first); });
}

}  // namespace

void cleanDir(const std::string& dir, bool removeItself) {
  int depth = 0;
  helper::directoryWalker(
      dir, [&depth](const std::string&) { ++depth; },
      [&depth](const std::string& subdirectory) {
        --depth;
        helper::ensureRemove(subdirectory);
      },
      [&depth](const std::string& path) {
        // What lies deeper goes with its folder. By its path it could lead elsewhere, were a folder on the
        // way swapped for a link meanwhile.
        if (depth > 0) return;
        boost::system::error_code ec;
        if (fs::is_regular_file(fs::symlink_status(path, ec)) &&
            !logutils::isAcceptViaExtName(path, {".zip"})) {
          helper::ensureRemove(path);
        }
      });
  if (removeItself) helper::ensureRemove(dir);
}

void checkAndCleanLogDir(const std::string& dir) {
  try {
    cleanDir(dir, false);
    if (fs::is_directory(fs::status(dir))) removeOldest(dir);
  } catch (const fs::filesystem_error& failure) {
    LOG_CALL(kWarn, "{}; Reason: file system error: {}", "delete file error", failure.what());
  }
}

}  // namespace quelmar

#include "workspace/housekeeping.h"

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <utility>
#include <vector>

#include <boost/filesystem/exception.hpp>
#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <sys/stat.h>

#include "collect/file_selection.h"
#include "collect/file_system.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

using utilities::Links;

// One fewer are kept at the start of a run, so that there are at most this many after it.
constexpr std::size_t kMaxArchives = 5;

bool isArchive(const std::string& path) {
  return logutils::isAcceptViaExtName(path, {".zip"});
}

using DatedFile = std::pair<std::string, std::time_t>;

void throwIf(const std::error_code& ec, const std::string& path) {
  if (ec)
    throw fs::filesystem_error("cannot look at it", path, {ec.value(), boost::system::system_category()});
}

std::vector<DatedFile> archives(const std::string& dir, Links links) {
  std::vector<DatedFile> files;
  std::string entries;
  throwIf(utilities::listDirectory(dir.c_str(), links, entries), dir);
  utilities::forEachEntry(entries, [&](utilities::EntryKind, const char* name) {
    if (!isArchive(name)) return;
    const std::string path = (fs::path(dir) / name).string();
    struct stat info {};
    throwIf(utilities::lookUp(AT_FDCWD, path.c_str(), Links::kNone, info), path);
    if (S_ISREG(info.st_mode)) files.emplace_back(path, info.st_mtime);
  });
  return files;
}

void removeOldest(const std::string& dir, Links links) {
  std::vector<DatedFile> files = archives(dir, links);
  if (files.size() < kMaxArchives) return;
  std::sort(files.begin(), files.end(),
            [](const DatedFile& one, const DatedFile& other) { return one.second < other.second; });
  const auto surplus = static_cast<std::ptrdiff_t>(files.size() - (kMaxArchives - 1));
  std::for_each(files.begin(), files.begin() + surplus,
                [](const DatedFile& file) { fs::remove(file.first); });
}

}  // namespace

void cleanDir(const std::string& dir, bool removeItself, Links links) {
  int depth = 0;
  helper::directoryWalker(
      dir, [&depth](const std::string&) { ++depth; },
      [&depth](const std::string& subdirectory) {
        // Deeper folders are removed with their parents. Removed by its path, one could be elsewhere if a
        // folder above it were replaced by a link meanwhile.
        if (--depth == 0) helper::ensureRemove(subdirectory);
      },
      [&depth](const std::string& path) {
        if (depth > 0) return;
        boost::system::error_code ec;
        if (fs::is_regular_file(fs::symlink_status(path, ec)) && !isArchive(path)) helper::ensureRemove(path);
      },
      links);
  if (removeItself) helper::ensureRemove(dir);
}

void checkAndCleanLogDir(const std::string& dir, Links links) {
  try {
    cleanDir(dir, false, links);
    if (fs::is_directory(fs::status(dir))) removeOldest(dir, links);
  } catch (const fs::filesystem_error& failure) {
    LOG_CALL(kWarn, "{}; Reason: file system error: {}", "delete file error", failure.what());
  }
}

}  // namespace quelmar

#include "collect/okvu_gate.h"

#include <boost/filesystem/operations.hpp>

#include "collect/directory_size.h"
#include "collect/sources.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

constexpr std::uint64_t kOkvuBudgetBytes = 209'715'200;  // 200 MiB
constexpr unsigned kBytesToMiBShift = 20;

}  // namespace

std::vector<std::string> getOkvuLogPath() {
  std::vector<std::string> paths;
  for (const logutils::macos::Source& source : logutils::macos::kSources) {
    if (source.step == logutils::macos::kAgent) paths.emplace_back(source.path);
  }
  return paths;
}

std::uint64_t getDirTotalSize(const std::string& dir, const std::vector<std::string>& extensions,
                              std::error_code& ec) {
  if (dir.empty()) return 0;
  boost::system::error_code error;
  if (!fs::is_directory(fs::symlink_status(dir, error))) {
    ec = error;
    return 0;
  }
  return getDirectorySize(dir, extensions);
}

bool checkIsCollectOkvuLog(const std::vector<std::string>& extensions) {
  std::uint64_t sum = 0;
  for (const std::string& path : getOkvuLogPath()) {
    std::error_code ignored;
    sum += getDirTotalSize(path, extensions, ignored);
  }
  if (sum > kOkvuBudgetBytes) {
    LOG_CALL(kInfo, "okvuLogPath is too big({}M), not collect", sum >> kBytesToMiBShift);
    return false;
  }
  LOG_CALL(kInfo, "okvuLogPath original size({}M), will collect", sum >> kBytesToMiBShift);
  return true;
}

}  // namespace quelmar

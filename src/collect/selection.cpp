#include "collect/selection.h"

#include <algorithm>
#include <ctime>
#include <regex>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/date_time/posix_time/conversion.hpp>
#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/threads.h"
#include "base/tree_walk.h"
#include "collect/sources.h"
#include "logging/logger.h"

namespace quelmar {
namespace {

constexpr std::uint64_t kBytesPerMiB = 1'048'576;
constexpr std::uint64_t kOkvuBudgetBytes = 200 * kBytesPerMiB;
constexpr std::uint64_t kMaxKeyLogAgeSeconds = 2'592'000;  // 30 days
constexpr std::uintmax_t kMaxKeyLogBytes = 2'097'152;      // 2 MiB

bool isRecent(const std::string& filePath, const boost::posix_time::ptime& referenceTime) {
  boost::system::error_code ec;
  const std::time_t modified = fs::last_write_time(filePath, ec);
  if (ec) return true;
  const std::int64_t reference = boost::posix_time::to_time_t(referenceTime);
  // Unsigned on purpose: a file newer than the reference counts as a very old one, and nothing overflows.
  const std::uint64_t age = static_cast<std::uint64_t>(reference) - static_cast<std::uint64_t>(modified);
  return age < kMaxKeyLogAgeSeconds + 1;
}

}  // namespace

namespace logutils {

std::vector<std::string> collectedExtensions() {
  return {".log", ".txt",   ".json", ".back", ".xlog",  ".db",   ".sqlite3",
          ".crc", ".mmap3", ".dmp",  ".ips",  ".crash", ".pcap", ""};
}

bool isAcceptViaExtName(const std::string& filePath, const std::vector<std::string>& extensions) {
  const std::string extension = boost::algorithm::to_lower_copy(fs::path(filePath).extension().string());
  return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

bool isKeyLog(const std::string& filePath, const boost::posix_time::ptime& referenceTime) {
  if (isAcceptViaExtName(filePath, {".dmp", ".crash", ".ips"})) return isRecent(filePath, referenceTime);
  if (isAcceptViaExtName(filePath, {".log", ".back", ".xlog"})) {
    boost::system::error_code ec;
    const std::uintmax_t size = fs::file_size(filePath, ec);
    if (ec) {
      LOG_CALL(kWarn, "Get the filePath({}) file_size return failed; Reason: err code={}, msg={}", filePath, ec.value(),
               ec.message());
      return false;
    }
    return size <= kMaxKeyLogBytes && isRecent(filePath, referenceTime);
  }
  return isAcceptViaExtName(filePath, {".pcap"});
}

FileFilter copyFilter(std::vector<std::string> extensions, const boost::posix_time::ptime& referenceTime) {
  return [extensions = std::move(extensions), referenceTime](const std::string& filePath) {
    if (!isAcceptViaExtName(filePath, extensions)) {
      LOG_CALL(kInfo, "The condition not met, the filePath({}) will ignore", filePath);
      return false;
    }
    if (!SharedInst::inst() || isKeyLog(filePath, referenceTime)) return true;
    LOG_CALL(kInfo, "Collect key logs is enable, the filePath({}) will ignore", filePath);
    return false;
  };
}

FileFilter diagnosticReportFilter() {
  return [pattern = std::regex(R"(DiagnosticReports\/[^\/]+\.(?:ips|crash)$)")](const std::string& filePath) {
    if (!std::regex_search(filePath, pattern)) {
      LOG_CALL(kInfo, "ignore diagnostic report: {}", filePath);
      return false;
    }
    LOG_CALL(kInfo, "copy: {} into DiagnosticReports", filePath);
    return true;
  };
}

}  // namespace logutils

std::uint64_t getDirectorySize(const std::string& dir, const std::vector<std::string>& exts) {
  std::uint64_t sum = 0;
  const auto lost = [](const std::string& folder, const std::error_code& ec) {
    LOG_CALL_AS("getDirectorySize", kErr, "get directory:{} size failed; Reason: catch exception:code:{}: {}", folder,
                ec.value(), ec.message());
  };
  try {
    std::error_code ec;
    Folder top(openFolder(dir, Links::kJudged, ec));
    if (ec) {
      lost(dir, ec);
      return 0;
    }
    TreeWalk walk(std::move(top), dir, lost);
    while (walk.next()) {
      beat();
      struct stat info {};
      if (walk.hasLeft()) continue;
      if (walk.kind() == EntryKind::kDirectory) {
        Folder folder = walk.open(ec);
        if (ec) lost(walk.path(), ec);
        if (!ec) walk.enter(std::move(folder));
      } else if (walk.kind() == EntryKind::kFile && (exts.empty() || logutils::isAcceptViaExtName(walk.path(), exts)) &&
                 !lookUp(walk.folder(), walk.name(), info)) {
        sum += static_cast<std::uint64_t>(info.st_size);
      }
    }
  } catch (const std::exception& failure) {
    LOG_CALL(kErr, "get directory:{} size failed; Reason: catch exception:{}", dir, failure.what());
  } catch (...) {
    LOG_CALL(kErr, "get directory:{} size failed; Reason: catch unknown exception:{}", dir,
             boost::current_exception_diagnostic_information());
  }
  return sum;
}

std::vector<std::string> getOkvuLogPath() {
  std::vector<std::string> paths;
  for (const logutils::macos::Source& source : logutils::macos::kSources) {
    if (source.step == logutils::macos::kAgent) paths.emplace_back(source.path);
  }
  return paths;
}

std::uint64_t getDirTotalSize(const std::string& dir, const std::vector<std::string>& extensions, std::error_code& ec) {
  if (dir.empty()) return 0;
  struct stat info {};
  ec = lookUp(dir, Links::kJudged, info);
  return !ec && S_ISDIR(info.st_mode) ? getDirectorySize(dir, extensions) : 0;
}

bool checkIsCollectOkvuLog(const std::vector<std::string>& extensions) {
  std::uint64_t sum = 0;
  for (const std::string& path : getOkvuLogPath()) {
    std::error_code ignored;
    sum += getDirTotalSize(path, extensions, ignored);
  }
  if (sum > kOkvuBudgetBytes) {
    LOG_CALL(kInfo, "okvuLogPath is too big({}M), not collect", sum / kBytesPerMiB);
    return false;
  }
  LOG_CALL(kInfo, "okvuLogPath original size({}M), will collect", sum / kBytesPerMiB);
  return true;
}

}  // namespace quelmar

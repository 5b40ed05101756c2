#include "collect/file_selection.h"

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <initializer_list>
#include <locale>
#include <regex>
#include <utility>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/shared_inst.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar::logutils {
namespace {

constexpr std::uint64_t kMaxKeyLogAgeSeconds = 2'592'000;  // 30 days
constexpr std::uintmax_t kMaxKeyLogBytes = 2'097'152;      // 2 MiB

std::string lowerExtension(const std::string& filePath) {
  return boost::algorithm::to_lower_copy(fs::path(filePath).extension().string(), std::locale());
}

bool isOneOf(const std::string& value, std::initializer_list<const char*> list) {
  return std::find(list.begin(), list.end(), value) != list.end();
}

bool isRecent(const std::string& filePath, const boost::posix_time::ptime& referenceTime) {
  boost::system::error_code ec;
  const std::time_t modified = fs::last_write_time(filePath, ec);
  if (ec) return true;
  const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
  const auto sinceEpoch = referenceTime - epoch;
  const std::int64_t reference = sinceEpoch.ticks() / sinceEpoch.ticks_per_second();
  // Unsigned on purpose: a file newer than the reference counts as a very old one. The subtraction is
  // unsigned too, so that an absurd time stamp cannot overflow it.
  const std::uint64_t age = static_cast<std::uint64_t>(reference) - static_cast<std::uint64_t>(modified);
  return age < kMaxKeyLogAgeSeconds + 1;
}

}  // namespace

std::vector<std::string> collectedExtensions() {
  return {".log", ".txt",   ".json", ".back", ".xlog",  ".db",   ".sqlite3",
          ".crc", ".mmap3", ".dmp",  ".ips",  ".crash", ".pcap", ""};
}

bool isAcceptViaExtName(const std::string& filePath, const std::vector<std::string>& extensions) {
  return std::find(extensions.begin(), extensions.end(), lowerExtension(filePath)) != extensions.end();
}

bool isKeyLog(const std::string& filePath, const boost::posix_time::ptime& referenceTime) {
  const std::string extension = lowerExtension(filePath);
  if (isOneOf(extension, {".dmp", ".crash", ".ips"})) return isRecent(filePath, referenceTime);
  if (isOneOf(extension, {".log", ".back", ".xlog"})) {
    boost::system::error_code ec;
    const std::uintmax_t size = fs::file_size(filePath, ec);
    if (ec) {
      LOG_CALL(kWarn, "Get the filePath({}) file_size return failed; Reason: err code={}, msg={}", filePath,
               ec.value(), ec.message());
      return false;
    }
    return size <= kMaxKeyLogBytes && isRecent(filePath, referenceTime);
  }
  return extension == ".pcap";
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

}  // namespace quelmar::logutils

#include "workspace/output_location.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <iomanip>
#include <sstream>
#include <utility>

#include <boost/filesystem/operations.hpp>
#include <sys/stat.h>

#include "base/directories.h"
#include "logging/log_call.h"
#include "sysinfo/report.h"
#include "workspace/protected_places.h"
#include "zipper/archive_file.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

constexpr const char* kDefaultRoot = "/tmp/oBrelaLog";
// A constant in every archive's name: neither the version of the client that failed nor the tool's own.
constexpr const char* kProductVersion = "2.5.16.20";
constexpr std::uintmax_t kMinAvailableBytes = 524'288'000;  // 500 MiB
constexpr std::uintmax_t kMaxReportBytes = 1'073'741'824;   // 1 GiB

bool mayBeEmptied(const std::string& root, const std::string& executable) {
  const std::string place = protectedPlaceIn(root, executable);
  if (!place.empty()) {
    LOG_CALL_AS("ensureLogRootDir", kWarn,
                "{} is no output folder, the default is used; Reason: {} is not to be deleted", root, place);
  }
  return place.empty();
}

bool zipFileNameAt(std::chrono::system_clock::time_point time, std::string& name) {
  try {
    const std::time_t seconds =
        std::chrono::system_clock::to_time_t(std::chrono::time_point_cast<std::chrono::seconds>(time));
    std::tm local{};
    localtime_r(&seconds, &local);
    std::ostringstream stream;
    stream << kProductVersion << "_" << std::put_time(&local, "%Y%m%d%H%M%S");
    std::string text = stream.str();
    text.insert(0, "oBrelaLog_");
    text.append(".zip");
    name = std::move(text);
    return true;
  } catch (...) {
    return false;
  }
}

}  // namespace

bool ensureLogRootDir(std::string& root, const std::string& executable, utilities::Links* links) {
  std::error_code ec;
  // Checked twice: before a file there is replaced by a folder, and for the folder that is there then.
  const bool isNamed = !root.empty() && mayBeEmptied(root, executable) &&
                       utilities::ensureDirectoryExist(root, ec, utilities::Links::kAny) &&
                       mayBeEmptied(root, executable);
  if (links != nullptr) *links = isNamed ? utilities::Links::kAny : utilities::Links::kOwn;
  if (isNamed) return true;
  if (!utilities::ensureDirectoryExist(kDefaultRoot, ec)) {
    LOG_CALL(kErr, "ensureDirectoryExist {} failed.{}", kDefaultRoot, "");
    return false;
  }
  root = kDefaultRoot;
  return true;
}

bool checkDiskIsFull(const std::string& path) {
  boost::system::error_code notReported;
  return fs::space(path, notReported).available < kMinAvailableBytes;
}

void limitReports(const std::string& root) {
  boost::system::error_code notReported;
  // There are three reports; the copies and the archive need the rest.
  const std::uintmax_t share = fs::space(root, notReported).available / 8;
  logutils::macos::details::limitReports(std::min(kMaxReportBytes, share));
}

bool getZipFileName(std::string& name) {
  return zipFileNameAt(std::chrono::system_clock::now(), name);
}

std::string initZipLogPath(const std::string& root) {
  std::string name;
  for (auto time = std::chrono::system_clock::now(); zipFileNameAt(time, name);
       time += std::chrono::seconds(1)) {
    std::string path = (fs::path(root) / name).string();
    struct stat info {};
    // If it exists, another run is writing an archive with that name: try the next second.
    if (lstat((path + zipper::kPartialSuffix).c_str(), &info) != 0) return path;
  }
  LOG_CALL(kErr, "{}{}", "getZipFileName failed.", "");
  return {};
}

}  // namespace quelmar

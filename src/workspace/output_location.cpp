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
#include "base/file_size_limit.h"
#include "logging/log_call.h"
#include "zipper/zipper.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

constexpr const char* kDefaultRoot = "/tmp/oBrelaLog";
// The client product's version, not the tool's own: archives are labelled by what they are about.
constexpr const char* kProductVersion = "2.5.16.20";
constexpr std::uintmax_t kMinAvailableBytes = 524'288'000;  // 500 MiB
constexpr std::uintmax_t kMaxReportBytes = 1'073'741'824;   // 1 GiB

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

bool ensureLogRootDir(std::string& root) {
  std::error_code ec;
  if (!root.empty() && utilities::ensureDirectoryExist(root, ec)) return true;
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
  // Of three reports none may take the room that the others and the archive need.
  utilities::limitFileSize(std::min(kMaxReportBytes, fs::space(root, notReported).available / 4));
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
    // Another run is at work on an archive of that second.
    if (lstat((path + zipper::kPartialSuffix).c_str(), &info) != 0) return path;
  }
  LOG_CALL(kErr, "{}{}", "getZipFileName failed.", "");
  return {};
}

}  // namespace quelmar

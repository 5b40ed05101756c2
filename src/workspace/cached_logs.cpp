#include "workspace/cached_logs.h"

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/regular_file.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

bool isLeftOut(const fs::path& path) {
  const std::string name = boost::algorithm::to_lower_copy(path.filename().string());
  return name.find("tunnel") != std::string::npos || name.find("obreladns") != std::string::npos;
}

}  // namespace

void collectSelf(const std::string& dir) {
  const fs::path log(Logger::GetInstance().options().logFile);
  std::error_code ec;
  utilities::copyRegularFile(log, fs::path(dir) / log.filename(), utilities::Overwrite::kYes, ec);
  if (ec) {
    LOG_CALL(kWarn, "collect({}) to dir({}) return false; Reason: err code={}, msg={}", log.string(), dir,
             ec.value(), ec.message());
  }
}

std::vector<std::string> collectCacheLogPaths(const std::string& dir) {
  std::vector<std::string> paths;
  try {
    for (const fs::directory_entry& entry : fs::directory_iterator(dir)) {
      boost::system::error_code ec;
      const fs::file_status status = fs::symlink_status(entry.path(), ec);
      if (fs::is_directory(status) || (fs::is_regular_file(status) && !isLeftOut(entry.path()))) {
        paths.push_back(entry.path().string());
      }
    }
  } catch (const std::exception& failure) {
    LOG_CALL(kErr, "collect cache logs in dir:{} failed; Reason: catch exception:{}", dir, failure.what());
  } catch (...) {
    LOG_CALL(kErr, "{}; Reason: catch unknown exception:{}", "collect cache logs failed",
             boost::current_exception_diagnostic_information());
  }
  return paths;
}

}  // namespace quelmar

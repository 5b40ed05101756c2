#include "workspace/cached_logs.h"

#include <new>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/path.hpp>

#include "base/directories.h"
#include "base/directory.h"
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
  const std::string& log = Logger::GetInstance().options().logFile;
  std::error_code ec;
  try {
    const fs::path copy = fs::path(dir) / fs::path(log).filename();
    ec = utilities::removeUnexpected(dir, utilities::Expected::kDirectory);
    if (!ec) utilities::copyRegularFile(log, copy, utilities::Overwrite::kYes, ec);
  } catch (const std::bad_alloc&) {  // all else that was collected is to be packed
    ec = std::make_error_code(std::errc::not_enough_memory);
  }
  if (ec) {
    LOG_CALL(kWarn, "collect({}) to dir({}) return false; Reason: err code={}, msg={}", log, dir, ec.value(),
             ec.message());
  }
}

std::vector<std::string> collectCacheLogPaths(const std::string& dir,
                                              const std::set<std::string>& leftovers) {
  std::vector<std::string> paths;
  try {
    std::string entries;
    const std::error_code listed = utilities::listDirectory(dir.c_str(), utilities::Links::kNone, entries);
    utilities::forEachEntry(entries, [&](utilities::EntryKind kind, const char* name) {
      // An entry of unknown type is listed: the packer logs it when it cannot read it either.
      const bool mayBeFile = kind == utilities::EntryKind::kFile || kind == utilities::EntryKind::kUnknown;
      const bool isFile = mayBeFile && !isLeftOut(name);
      const bool isOurs = leftovers.count(name) == 0;
      if (isOurs && (isFile || kind == utilities::EntryKind::kDirectory)) {
        paths.push_back((fs::path(dir) / name).string());
      }
    });
    if (listed) throw std::system_error(listed, "code:" + std::to_string(listed.value()));
  } catch (const std::exception& failure) {
    LOG_CALL(kErr, "collect cache logs in dir:{} failed; Reason: catch exception:{}", dir, failure.what());
  } catch (...) {
    LOG_CALL(kErr, "{}; Reason: catch unknown exception:{}", "collect cache logs failed",
             boost::current_exception_diagnostic_information());
  }
  return paths;
}

}  // namespace quelmar

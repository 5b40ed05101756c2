#include "workspace/packaging.h"

#include <stdexcept>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/directories.h"
#include "logging/log_call.h"
#include "zipper/verify_archive.h"
#include "zipper/zipper.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

constexpr unsigned kPackFlags = zipper::Zipper::CompressBest | zipper::Zipper::AppendHint;
constexpr const char* kPackingFailed = "Generate zip file({}) throw exception; Reason: error msg={}";

/// A torn archive must not pass for a whole one; the next run's housekeeping removes what is set aside.
void setAsideIfTorn(const std::string& zipPath) {
  boost::system::error_code notReported;
  if (!fs::is_regular_file(fs::symlink_status(zipPath, notReported)) || zipper::verifyArchive(zipPath))
    return;
  fs::rename(zipPath, zipPath + ".incomplete", notReported);
}

}  // namespace

int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath) {
  utilities::discardForeignEntry(zipPath);
  try {
    zipper::Zipper zip(zipPath, "");
    for (const std::string& path : paths) {
      if (!zip.add(path, kPackFlags)) LOG_CALL(kWarn, "Add dirPath({}) to zip return failed{}", path, "");
    }
    zip.close();
    return 0;
  } catch (const std::runtime_error& failure) {
    LOG_CALL(kWarn, kPackingFailed, zipPath, failure.what());
  } catch (...) {
    LOG_CALL(kErr, kPackingFailed, zipPath, boost::current_exception_diagnostic_information(true));
  }
  setAsideIfTorn(zipPath);
  return 0;
}

}  // namespace quelmar

#include "collect/directory_size.h"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/directories.h"
#include "collect/file_selection.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {

std::uint64_t getDirectorySize(const std::string& dir, const std::vector<std::string>& exts) {
  std::uint64_t sum = 0;
  try {
    utilities::forEachName(utilities::entryNames(dir), [&](const char* name) {
      const std::string path = (fs::path(dir) / name).string();
      boost::system::error_code ec;
      const fs::file_status status = fs::symlink_status(path, ec);
      if (fs::is_directory(status)) {
        sum += getDirectorySize(path, exts);
      } else if (fs::is_regular_file(status) && (exts.empty() || logutils::isAcceptViaExtName(path, exts))) {
        const std::uintmax_t size = fs::file_size(path, ec);
        // A file that vanished meanwhile has no size; the library's error value is not one to add.
        if (!ec) sum += size;
      }
    });
  } catch (const std::exception& failure) {
    LOG_CALL(kErr, "get directory:{} size failed; Reason: catch exception:{}", dir, failure.what());
  } catch (...) {
    LOG_CALL(kErr, "get directory:{} size failed; Reason: catch unknown exception:{}", dir,
             boost::current_exception_diagnostic_information());
  }
  return sum;
}

}  // namespace quelmar

#include "collect/directory_size.h"

#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/directory.h"
#include "collect/file_selection.h"
#include "logging/log_call.h"

namespace fs = boost::filesystem;

namespace quelmar {

std::uint64_t getDirectorySize(const std::string& dir, const std::vector<std::string>& exts) {
  std::uint64_t sum = 0;
  try {
    std::string entries;
    const std::error_code listed = utilities::listDirectory(dir.c_str(), utilities::Links::kAny, entries);
    utilities::forEachEntry(entries, [&](utilities::EntryKind kind, const char* name) {
      const std::string path = (fs::path(dir) / name).string();
      if (kind == utilities::EntryKind::kDirectory) {
        sum += getDirectorySize(path, exts);
      } else if (kind == utilities::EntryKind::kFile &&
                 (exts.empty() || logutils::isAcceptViaExtName(path, exts))) {
        boost::system::error_code ec;
        const std::uintmax_t size = fs::file_size(path, ec);
        // After an error, a file that has gone for example, `size` is the library's error value.
        if (!ec) sum += size;
      }
    });
    if (listed) throw std::system_error(listed, "code:" + std::to_string(listed.value()));
  } catch (const std::exception& failure) {
    LOG_CALL(kErr, "get directory:{} size failed; Reason: catch exception:{}", dir, failure.what());
  } catch (...) {
    LOG_CALL(kErr, "get directory:{} size failed; Reason: catch unknown exception:{}", dir,
             boost::current_exception_diagnostic_information());
  }
  return sum;
}

}  // namespace quelmar

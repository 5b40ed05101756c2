#include "workspace/packaging.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include <boost/exception/diagnostic_information.hpp>
#include <boost/filesystem/path.hpp>
#include <unistd.h>

#include "base/directories.h"
#include "base/directory.h"
#include "logging/log_call.h"
#include "logging/losses.h"
#include "zipper/zipper.h"

namespace quelmar {
namespace {

constexpr unsigned kPackFlags = zipper::Zipper::CompressBest | zipper::Zipper::AppendHint;
constexpr const char* kPackingFailed = "Generate zip file({}) throw exception; Reason: error msg={}";

/// Removes packed copies below the folder `top`. No link is followed on the way from the parent of `top`.
class CopyRemover {
 public:
  explicit CopyRemover(std::string top) : top_(std::move(top)), trusted_(top_.rfind('/') + 1) {}

  void remove(const std::string& path) {
    const std::size_t nameAt = path.rfind('/') + 1;
    if (top_.empty() || path.compare(0, top_.size() + 1, top_ + '/') != 0) return;
    if (path.compare(0, nameAt, openPath_) != 0) {
      std::error_code ec;
      openPath_ = path.substr(0, nameAt);
      open_ = utilities::openWithoutLinks(openPath_, trusted_, ec);
    }
    unlinkat(open_.get(), path.c_str() + nameAt, 0);  // a failure is left to the clean-up
  }

 private:
  const std::string top_;
  const std::size_t trusted_;
  std::string openPath_;
  utilities::Directory open_;
};

}  // namespace

int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath,
                 const std::string& copies) {
  try {
    utilities::removeUnexpected(zipPath);
    std::optional<Losses> losses;  // of the path that is packed
    const std::string* added = nullptr;
    CopyRemover remover(copies);
    zipper::Zipper::Hooks hooks;
    hooks.lost = [&](const std::string& path, int error) {
      if (error == ENOENT && path == *added) return;  // kept on purpose: its entry without data tells it
      const std::error_code ec(error, std::generic_category());
      losses->tell(kWarn, ec, "pack {} failed.; Reason: code:{} msg:{}", path);
    };
    hooks.packed = [&](const std::string& path) { remover.remove(path); };
    hooks.needsEntry = !paths.empty();
    zipper::Zipper zip(zipPath, "");
    zip.setHooks(std::move(hooks));
    for (const std::string& path : paths) {
      losses.emplace("compressLogs", path);
      added = &path;
      if (!zip.add(path, kPackFlags)) LOG_CALL(kWarn, "Add dirPath({}) to zip return failed{}", path, "");
    }
    zip.close();
  } catch (const std::runtime_error& failure) {
    LOG_CALL(kWarn, kPackingFailed, zipPath, failure.what());
  } catch (...) {
    LOG_CALL(kErr, kPackingFailed, zipPath, boost::current_exception_diagnostic_information(true));
  }
  return 0;
}

}  // namespace quelmar

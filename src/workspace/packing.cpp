#include "workspace/packing.h"

#include <ctime>
#include <new>
#include <optional>

#include <boost/algorithm/string/case_conv.hpp>
#include <boost/exception/diagnostic_information.hpp>
#include <fcntl.h>
#include <fmt/chrono.h>

#include "base/files.h"
#include "base/tree_walk.h"
#include "logging/logger.h"
#include "workspace/output_root.h"
#include "zipper/archive_file.h"
#include "zipper/zipper.h"

namespace quelmar {
namespace {

// A constant in every archive's name: neither the version of the client that failed nor the tool's own.
constexpr const char* kProductVersion = "2.5.16.20";
constexpr unsigned kPackFlags = zipper::Zipper::CompressBest | zipper::Zipper::AppendHint;
constexpr const char* kPackingFailed = "Generate zip file({}) throw exception; Reason: error msg={}";

bool isLeftOut(const fs::path& path) {
  const std::string name = boost::algorithm::to_lower_copy(path.filename().string());
  return name.find("tunnel") != std::string::npos || name.find("obreladns") != std::string::npos;
}

/// The folder of the copies: only what is in it is packed and removed, and belongs to the user who owns it.
class Copies {
 public:
  explicit Copies(const std::string& folder) : start_(folder + '/') {
    if (folder.empty()) return;
    std::error_code ec;
    const Descriptor open = openFolder(folder, Links::kOwn, ec);
    isKnown_ = !ec && fstat(open.get(), &info_) == 0;
  }

  [[nodiscard]] bool mayBePacked(const struct stat& entry) const {
    const bool isAlone = S_ISDIR(entry.st_mode) || entry.st_nlink == 1;
    return !isKnown_ || (isAlone && entry.st_uid == info_.st_uid);
  }

  void remove(const std::string& path) {
    const std::size_t nameAt = path.rfind('/') + 1;
    if (!isKnown_ || path.compare(0, start_.size(), start_) != 0) return;
    if (path.compare(0, nameAt, openPath_) != 0) {
      std::error_code ec;
      openPath_ = path.substr(0, nameAt);
      open_ = openFolder(openPath_, Links::kOwn, ec);
    }
    unlinkat(open_.get(), path.c_str() + nameAt, 0);  // a failure is left to the clean-up
  }

 private:
  const std::string start_;
  bool isKnown_ = false;
  struct stat info_ {};
  std::string openPath_;
  Descriptor open_;
};

}  // namespace

void collectSelf(const std::string& dir) {
  const std::string& log = Logger::GetInstance().options().logFile;
  std::error_code ec;
  try {
    // The open file is copied, whatever bears its name now: everybody may write to its folder.
    struct stat info {};
    ec = lookUp(log, Links::kOwn, info);
    const Descriptor file(ec ? -1 : dup(Logger::GetInstance().descriptor()));
    if (!ec && fstat(file.get(), &info) != 0) ec = lastError();
    const Descriptor folder = ec ? Descriptor() : openFolder(dir, Links::kOwn, ec);
    const std::string name = fs::path(log).filename().string();
    if (!ec) ec = copyOpened(file, info, folder.get(), name.c_str(), Overwrite::kYes);
  } catch (const std::bad_alloc&) {  // all else that was collected is to be packed
    ec = std::make_error_code(std::errc::not_enough_memory);
  }
  if (ec) {
    LOG_CALL(kWarn, "collect({}) to dir({}) return false; Reason: err code={}, msg={}", log, dir, ec.value(),
             ec.message());
  }
}

std::vector<std::string> collectCacheLogPaths(const std::string& dir) {
  std::vector<std::string> paths;
  try {
    std::error_code ec;
    const Descriptor folder = openFolder(dir, Links::kOwn, ec);
    const std::error_code listed = ec ? ec : forEachEntry(folder.get(), [&](EntryKind kind, const char* name) {
      // An entry of unknown type is listed: the packer logs it when it cannot read it either.
      const bool isFile = (kind == EntryKind::kFile || kind == EntryKind::kUnknown) && !isLeftOut(name);
      if (isFile || kind == EntryKind::kDirectory) paths.push_back((fs::path(dir) / name).string());
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

bool getZipFileName(std::string& name, std::chrono::system_clock::time_point time) try {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm local{};
  localtime_r(&seconds, &local);
  name = fmt::format("{}{}_{:%Y%m%d%H%M%S}.zip", kArchivePrefix, kProductVersion, local);
  return true;
} catch (...) {
  return false;
}

std::string initZipLogPath(const std::string& root) {
  std::string name;
  for (auto time = std::chrono::system_clock::now(); getZipFileName(name, time); time += std::chrono::seconds(1)) {
    std::error_code ec;
    struct stat info {};
    const Place place = locate((fs::path(root) / name).string(), Links::kOwn, ec);
    const int folder = place.folder.get();
    const bool stands = !lookUp(folder, name.c_str(), info);
    // One that has come since the run began is another run's.
    const bool isOwn = S_ISREG(info.st_mode) && info.st_uid == geteuid() && info.st_nlink == 1 && isOwnArchive(name);
    if (stands && !isOwn) continue;
    makeFile(folder, (name + zipper::kPartialSuffix).c_str(), O_WRONLY, 0666, Overwrite::kNo, ec);
    // If it exists, another run is writing an archive with that name: try the next second.
    if (ec != std::errc::file_exists) return (fs::path(root) / name).string();
  }
  LOG_CALL(kErr, "{}{}", "getZipFileName failed.", "");
  return {};
}

int compressLogs(const std::vector<std::string>& paths, const std::string& zipPath, const std::string& copies,
                 std::uint64_t* entries) {
  if (entries != nullptr) *entries = 0;
  try {
    std::optional<Losses> losses;  // of the path that is packed
    const std::string* added = nullptr;
    Copies own(copies);
    zipper::Zipper::Hooks hooks;
    hooks.lost = [&](const std::string& path, int error) {
      // Kept on purpose: an entry without data tells of a path that is not there, but a copy was there.
      if (error == ENOENT && path == *added && copies.empty()) return;
      const std::error_code ec(error, std::generic_category());
      losses->tell(kWarn, ec, "pack {} failed.; Reason: code:{} msg:{}", path);
    };
    hooks.packed = [&](const std::string& path) { own.remove(path); };
    hooks.mayBePacked = [&](const struct stat& entry) { return own.mayBePacked(entry); };
    hooks.needsEntry = !paths.empty();
    zipper::Zipper zip(zipPath, "");
    zip.setHooks(std::move(hooks));
    for (const std::string& path : paths) {
      losses.emplace("compressLogs", path);
      added = &path;
      if (!zip.add(path, kPackFlags)) LOG_CALL(kWarn, "Add dirPath({}) to zip return failed{}", path, "");
    }
    zip.close();
    if (entries != nullptr) *entries = zip.entries();
  } catch (const std::runtime_error& failure) {
    LOG_CALL(kWarn, kPackingFailed, zipPath, failure.what());
  } catch (...) {
    LOG_CALL(kErr, kPackingFailed, zipPath, boost::current_exception_diagnostic_information(true));
  }
  return 0;
}

}  // namespace quelmar

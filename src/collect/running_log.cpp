#include "collect/running_log.h"

#include <chrono>
#include <functional>
#include <iostream>
#include <new>
#include <utility>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/bounded_call.h"
#include "base/directories.h"
#include "base/directory.h"
#include "base/limits.h"
#include "collect/file_selection.h"
#include "collect/okvu_gate.h"
#include "collect/sources.h"
#include "collect/tree_copy.h"
#include "logging/log_call.h"
#include "platform/users.h"
#include "sysinfo/reports.h"
#include "sysinfo/shell.h"

namespace fs = boost::filesystem;

namespace quelmar::logutils::macos {
namespace {

constexpr std::uintmax_t kMaxLaunchdLogBytes = 10'485'760;  // 10 MiB

// All records of the driver carry the name of its main function, in whichever step they are written.
#define DRIVER_LOG(level, ...) LOG_CALL_AS("collectRunningLog", level, __VA_ARGS__)

/// Calls `claim` for the scratch folder `dir` and each level of `name` below it, until one fails.
/// @return false after a failure (logged)
bool claimLevels(const fs::path& dir, const fs::path& name, std::error_code (*claim)(const fs::path&)) {
  fs::path folder = dir;
  std::error_code ec = claim(folder);
  for (const fs::path& part : name) {
    folder /= part;
    if (!ec) ec = claim(folder);
  }
  if (ec) {
    DRIVER_LOG(kErr, "dir {} not exist; Reason: code:{} msg:{}", folder.string(), ec.value(), ec.message());
  }
  return !ec;
}

std::error_code makeFolder(const fs::path& folder) {
  std::error_code ec;
  utilities::ensureDirectoryExist(folder.string(), ec, utilities::Links::kNone);
  return ec;
}

std::error_code clearLink(const fs::path& folder) {
  return utilities::removeUnexpected(folder, utilities::Expected::kDirectory);
}

void openToAll(const std::string& dir) {
  const std::string command = "chmod -R 777 " + dir;
  std::string entries;
  // What the clean-up could not remove belongs to another user: its modes must not be changed.
  if (utilities::listDirectory(dir.c_str(), utilities::Links::kNone, entries) || !entries.empty()) {
    DRIVER_LOG(kErr, "cmdPopen {} fail; Reason: outStr:{}", command, "the folder is not empty");
  } else if (!details::cmdPopenWithin(kLimits.openCopies, command)) {
    DRIVER_LOG(kErr, "cmdPopen {} fail; Reason: outStr:{}", command, "");
  }
}

/// Calls `callback` with each source of a step and its two paths, `name` filled in. When the memory runs out
/// for one of them, that is logged and the next one follows.
template <typename Callback>
void forEachSource(Step step, const std::string& name, const Callback& callback) {
  for (const Source& source : kSources) {
    if (source.step != step) continue;
    try {
      callback(source, filledIn(source.path, name), filledIn(source.destination, name));
    } catch (const std::bad_alloc& failure) {
      DRIVER_LOG(kErr, "{}; Reason: exception:{}", "collect running log failed.", failure.what());
    }
  }
}

/// Copies the folders of a step into the scratch folder `dir`.
void copyFolders(Step step, const std::string& name, const fs::path& dir, const FileFilter& filter) {
  forEachSource(step, name, [&](const Source& source, const fs::path& from, const fs::path& to) {
    if (*source.record != '\0') DRIVER_LOG(kInfo, "{}", source.record);
    const bool isReports = source.kind == kCrashReports;
    if (claimLevels(dir, to.parent_path(), clearLink))
      helper::copyDir(from, dir / to, isReports ? diagnosticReportFilter() : filter);
  });
}

void copyInstallerLog(const fs::path& source, const fs::path& target) {
  bool worthLogging = false;
  if (const std::error_code ec = helper::copyOneFile(source, target, worthLogging)) {
    DRIVER_LOG(kErr, "copy_file {} to {} failed.; Reason: code:{} msg:{}", source.string(), target.string(),
               ec.value(), ec.message());
  }
}

/// A collector on a detached thread, which may still run when the process ends.
class SideCollector {
 public:
  /// Throws std::system_error when the thread cannot be started.
  SideCollector(const char* name, std::function<void()> work)
      : name_(name), call_(std::move(work), [name](const char* reason) {
          DRIVER_LOG(kErr, "Exec {} failed; Reason: {}", name, reason);
        }) {}

  void await() const {
    const auto status = call_.await(std::chrono::steady_clock::now() + kLimits.sideCollector);
    if (status == std::future_status::timeout) DRIVER_LOG(kWarn, "Exec {} is timeout", name_);
    if (status == std::future_status::deferred) DRIVER_LOG(kWarn, "Exec {} is deferred", name_);
  }

 private:
  const char* name_;
  utilities::DetachedCall call_;
};

std::vector<std::string> users() {
  std::vector<std::string> list;
  if (const auto& loginUser = process::loginUser()) {
    list.push_back(*loginUser);
  } else {
    DRIVER_LOG(kErr, "{}{}", "getCurrentLoginUser failed.", "");
  }
  // Always: the sources in /Users/root are tried too, and usually reported missing.
  list.emplace_back("root");
  return list;
}

void copyNetData(const fs::path& dir, const FileFilter& filter) {
  std::error_code ec;
  const std::string shared = utilities::macos::getSharedDataPath(ec);
  if (ec) {
    std::cerr << "getSharedDataPath fail,error:" << ec.value() << "msg:" << ec.message() << std::endl;
  }
  copyFolders(kMachine, shared, dir, filter);
}

void copyPortalFile(const fs::path& source, const fs::path& target) {
  const auto isWanted = [&](const std::string& path) { return path == source; };
  if (!helper::copyFile2Dir(source.parent_path().string(), target.parent_path().string(), isWanted, true)) {
    DRIVER_LOG(kErr, "copy portal file {} failed.", source.filename().string());
  }
}

void copyFile(const fs::path& source, const fs::path& folder) {
  boost::system::error_code ec;
  if (fs::is_directory(fs::status(folder, ec))) {
    bool worthLogging = false;
    const std::error_code copied = helper::copyOneFile(source, folder / source.filename(), worthLogging);
    if (copied && worthLogging) {
      LOG_CALL(kWarn, "copy {} to {} failed.; Reason: code:{} msg:{}", source.string(), folder.string(),
               copied.value(), copied.message());
    }
  } else {
    LOG_CALL(kErr, "directory {} not exist.; Reason: code:{} msg:{}", folder.string(), ec.value(),
             ec.message());
  }
}

void copyLaunchdLog(const fs::path& source, const fs::path& dir, const fs::path& target) {
  boost::system::error_code ec;
  if (!fs::exists(fs::status(source, ec))) {
    DRIVER_LOG(kErr, "{}{}", "launchd.log not exist, not collected.", "");
    return;
  }
  const std::uintmax_t size = fs::file_size(source, ec);
  if (size > kMaxLaunchdLogBytes) {
    DRIVER_LOG(kErr, "{}{}", "launchd.log file size > 10MB, not collected.", "");
    return;
  }
  if (!claimLevels(dir, target.parent_path(), makeFolder)) return;
  copyFile(source, dir / target.parent_path());
  DRIVER_LOG(kInfo, "launchd.log file size {}", size);
}

}  // namespace

void collectRunningLog(const std::string& dir) {
  if (!makeFolder(dir)) openToAll(dir);
  const fs::path scratch(dir);
  const fs::path logsDir = scratch / "logs";
  if (!claimLevels(scratch, "logs", makeFolder)) return;
  forEachSource(kInstaller, "", [&](const Source& /*source*/, const fs::path& from, const fs::path& to) {
    copyInstallerLog(from, scratch / to);
  });

  const FileFilter filter = copyFilter(collectedExtensions(), boost::posix_time::second_clock::local_time());
  const SideCollector wideLog("collectSystemWideLog",
                              [folder = logsDir.string()] { collectSystemWideLog(folder); });
  const std::vector<std::string> userList = users();
  const std::string& firstUser = userList.front();
  DRIVER_LOG(kInfo, "{}", "collect uem logs...");
  copyFolders(kManagement, firstUser, scratch, filter);

  DRIVER_LOG(kInfo, "{}", "start uem system state collection thread ...");
  const SideCollector uemState("collectSystemStateForUem", [folder = logsDir.string(), firstUser] {
    collectSystemStateForUem(folder, firstUser);
  });

  DRIVER_LOG(kInfo, "{}", "collect user files ...");
  if (checkIsCollectOkvuLog(collectedExtensions())) copyFolders(kAgent, "", scratch, filter);
  copyNetData(scratch, filter);
  for (const std::string& user : userList) copyFolders(kUser, user, scratch, filter);
  copyFolders(kShared, "", scratch, filter);
  forEachSource(kPortal, "", [&](const Source& /*source*/, const fs::path& from, const fs::path& to) {
    copyPortalFile(from, scratch / to);
  });
  forEachSource(kLaunchd, "", [&](const Source& /*source*/, const fs::path& from, const fs::path& to) {
    copyLaunchdLog(from, scratch, to);
  });

  DRIVER_LOG(kInfo, "{}", "wait for uem collect system state log ...");
  uemState.await();
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system state done");
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system log ...");
  wideLog.await();
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system done");
  DRIVER_LOG(kInfo, "{}", "collectRunningLog done");
}

}  // namespace quelmar::logutils::macos

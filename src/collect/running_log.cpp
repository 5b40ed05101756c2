#include "collect/running_log.h"

#include <chrono>
#include <functional>
#include <iostream>
#include <utility>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/filesystem/operations.hpp>

#include "base/bounded_call.h"
#include "base/directories.h"
#include "base/regular_file.h"
#include "collect/file_selection.h"
#include "collect/file_system.h"
#include "collect/okvu_gate.h"
#include "logging/data_folders.h"
#include "logging/log_call.h"
#include "platform/console_user.h"
#include "sysinfo/shell.h"
#include "sysinfo/system_wide_log.h"
#include "sysinfo/uem_state.h"

namespace fs = boost::filesystem;

namespace quelmar::logutils::macos {
namespace {

constexpr std::chrono::seconds kSideCollectorLimit{30};
constexpr std::chrono::seconds kChmodLimit{5};
constexpr std::uintmax_t kMaxLaunchdLogBytes = 10'485'760;  // 10 MiB

constexpr const char* kInstallerLog = "/var/log/quelmar/sdp/oBrelaInstallOut.log";
constexpr const char* kUemLogs = "/Library/Application Support/uem/logs/quelmarlogs";
constexpr const char* kSystemReports = "/Library/Logs/DiagnosticReports";
constexpr const char* kSharedClientData = "/Library/Application Support/oBrela";
constexpr const char* kPortalFolder = "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app";
constexpr const char* kLaunchdLog = "/var/log/com.apple.xpc.launchd/launchd.log";

// Every record of the driver carries the driver's name, whichever of its steps writes it.
#define DRIVER_LOG(level, ...) LOG_CALL_AS("collectRunningLog", level, __VA_ARGS__)

/// The extensions of the files to collect; the empty one, for files without extension, is there on purpose.
std::vector<std::string> collectedExtensions() {
  return {".log", ".txt",   ".json", ".back", ".xlog",  ".db",   ".sqlite3",
          ".crc", ".mmap3", ".dmp",  ".ips",  ".crash", ".pcap", ""};
}

bool ensureFolder(const fs::path& folder) {
  std::error_code ec;
  if (utilities::ensureDirectoryExist(folder.string(), ec)) return true;
  DRIVER_LOG(kErr, "dir {} not exist; Reason: code:{} msg:{}", folder.string(), ec.value(), ec.message());
  return false;
}

void openToAll(const std::string& dir) {
  const std::string command = "chmod -R 777 " + dir;
  std::string output;
  if (!details::cmdPopenWithin(kChmodLimit, command, output)) {
    DRIVER_LOG(kErr, "cmdPopen {} fail; Reason: outStr:{}", command, output);
  }
}

void copyInstallerLog(const fs::path& logsDir) {
  const fs::path source(kInstallerLog);
  const fs::path target = logsDir / source.filename();
  std::error_code ec;
  utilities::copyRegularFile(source, target, utilities::Overwrite::kYes, ec);
  if (ec) {
    DRIVER_LOG(kErr, "copy_file {} to {} failed.; Reason: code:{} msg:{}", source.string(), target.string(),
               ec.value(), ec.message());
  }
}

/// A collector on a thread of its own, which nobody joins: it may outlive the whole run.
class SideCollector {
 public:
  /// Throws std::system_error when the thread cannot be started.
  SideCollector(const char* name, std::function<void()> work)
      : name_(name), call_(std::move(work), [name](const char* reason) {
          DRIVER_LOG(kErr, "Exec {} failed; Reason: {}", name, reason);
        }) {}

  void await() const {
    const auto status = call_.await(std::chrono::steady_clock::now() + kSideCollectorLimit);
    if (status == std::future_status::timeout) DRIVER_LOG(kWarn, "Exec {} is timeout", name_);
    if (status == std::future_status::deferred) DRIVER_LOG(kWarn, "Exec {} is deferred", name_);
  }

 private:
  const char* name_;
  utilities::DetachedCall call_;
};

std::vector<std::string> users() {
  std::vector<std::string> list;
  std::string loginUser;
  if (process::getCurrentLoginUser(loginUser)) {
    list.push_back(loginUser);
  } else {
    DRIVER_LOG(kErr, "{}{}", "getCurrentLoginUser failed.", "");
  }
  // Always, so the sources under /Users/root are tried too; they are usually reported missing.
  list.emplace_back("root");
  return list;
}

fs::path homeOf(const std::string& user) {
  return "/Users/" + user;
}

void copyManagementLogs(const fs::path& uemDir, const std::string& firstUser, const FileFilter& filter) {
  DRIVER_LOG(kInfo, "{}", "collect uem logs...");
  DRIVER_LOG(kInfo, "{}", "copy uem logs ...");
  helper::copyDir(kUemLogs, uemDir, filter);
  const FileFilter reports = diagnosticReportFilter();
  DRIVER_LOG(kInfo, "{}", "copy user crash logs ...");
  helper::copyDir(homeOf(firstUser) / "Library/Logs/DiagnosticReports", uemDir / "DiagnosticReports",
                  reports);
  DRIVER_LOG(kInfo, "{}", "copy system crash logs ...");
  helper::copyDir(kSystemReports, uemDir / "DiagnosticReports", reports);
}

void copyAgentLogs(const fs::path& logsDir, const FileFilter& filter) {
  if (!checkIsCollectOkvuLog(collectedExtensions())) return;
  for (const fs::path source : getOkvuLogPath()) {
    helper::copyDir(source, logsDir / "OKVU" / source.filename(), filter);
  }
}

void copyNetData(const fs::path& dir, const FileFilter& filter) {
  std::error_code ec;
  const fs::path shared = utilities::macos::getSharedDataPath(ec);
  if (ec) {
    std::cerr << "getSharedDataPath fail,error:" << ec.value() << "msg:" << ec.message() << std::endl;
  }
  helper::copyDir(shared / "netData", dir / "netData", filter);
}

void copyUserFiles(const std::string& user, const fs::path& dir, const FileFilter& filter) {
  const fs::path logs = dir / "logs" / user;
  const fs::path client = homeOf(user) / "Library/Application Support/oBrela";
  helper::copyDir(client / "logs", logs, filter);
  helper::copyDir(client / "database", dir / "database" / user, filter);
  helper::copyDir(client / "nsdbase", dir / "nsdbase" / user, filter);
  helper::copyDir(homeOf(user) / "Library/Logs/DiagnosticReports", logs / "diagnosticReports",
                  diagnosticReportFilter());
  helper::copyDir(client / "Electron Crashes", logs / "electron", filter);
}

void copySharedFiles(const fs::path& dir, const FileFilter& filter) {
  const fs::path client(kSharedClientData);
  DRIVER_LOG(kInfo, "{}", "copy shared database ...");
  helper::copyDir(client / "database", dir / "database" / "share_user", filter);
  DRIVER_LOG(kInfo, "{}", "copy iddbase ...");
  helper::copyDir(client / "iddbase", dir / "iddbase" / "share_user", filter);
  DRIVER_LOG(kInfo, "{}", "copy dump files ...");
  helper::copyDir(client / "Crash", dir / "Crash", filter);
}

void copyPortalFile(const fs::path& folder, const std::string& name, const fs::path& dir) {
  const auto isWanted = [&name](const std::string& path) { return fs::path(path).filename() == name; };
  if (!helper::copyFile2Dir(folder.string(), (dir / "portal-info").string(), isWanted, true)) {
    DRIVER_LOG(kErr, "copy portal file {} failed.", name);
  }
}

void copyFile(const fs::path& source, const fs::path& folder) {
  boost::system::error_code ec;
  if (fs::is_directory(fs::status(folder, ec))) {
    std::error_code notReported;
    utilities::copyRegularFile(source, folder / source.filename(), utilities::Overwrite::kYes, notReported);
  } else {
    LOG_CALL(kErr, "directory {} not exist.; Reason: code:{} msg:{}", folder.string(), ec.value(),
             ec.message());
  }
}

void copyLaunchdLog(const fs::path& dir) {
  boost::system::error_code ec;
  if (!fs::exists(fs::status(kLaunchdLog, ec))) {
    DRIVER_LOG(kErr, "{}{}", "launchd.log not exist, not collected.", "");
    return;
  }
  const std::uintmax_t size = fs::file_size(kLaunchdLog, ec);
  if (size > kMaxLaunchdLogBytes) {
    DRIVER_LOG(kErr, "{}{}", "launchd.log file size > 10MB, not collected.", "");
    return;
  }
  const fs::path folder = dir / "system" / "com.apple.xpc.launchd";
  if (!ensureFolder(folder)) return;
  copyFile(kLaunchdLog, folder);
  DRIVER_LOG(kInfo, "launchd.log file size {}", size);
}

}  // namespace

void collectRunningLog(const std::string& dir) {
  std::error_code ignored;
  utilities::ensureDirectoryExist(dir, ignored);
  openToAll(dir);
  const fs::path scratch(dir);
  const fs::path logsDir = scratch / "logs";
  if (!ensureFolder(logsDir)) return;
  copyInstallerLog(logsDir);

  const FileFilter filter = copyFilter(collectedExtensions(), boost::posix_time::second_clock::local_time());
  const SideCollector wideLog("collectSystemWideLog",
                              [folder = logsDir.string()] { collectSystemWideLog(folder); });
  const std::vector<std::string> userList = users();
  const std::string& firstUser = userList.front();
  copyManagementLogs(logsDir / ("uem_" + firstUser), firstUser, filter);

  DRIVER_LOG(kInfo, "{}", "start uem system state collection thread ...");
  const SideCollector uemState("collectSystemStateForUem", [folder = logsDir.string(), firstUser] {
    collectSystemStateForUem(folder, firstUser);
  });

  DRIVER_LOG(kInfo, "{}", "collect user files ...");
  copyAgentLogs(logsDir, filter);
  copyNetData(scratch, filter);
  for (const std::string& user : userList) copyUserFiles(user, scratch, filter);
  copySharedFiles(scratch, filter);
  copyPortalFile(kPortalFolder, "sdpc_md5.json", scratch);
  copyPortalFile(fs::path(kPortalFolder) / "static", ".portal.json", scratch);
  copyLaunchdLog(scratch);

  DRIVER_LOG(kInfo, "{}", "wait for uem collect system state log ...");
  uemState.await();
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system state done");
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system log ...");
  wideLog.await();
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system done");
  DRIVER_LOG(kInfo, "{}", "collectRunningLog done");
}

}  // namespace quelmar::logutils::macos

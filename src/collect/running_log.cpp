#include "collect/running_log.h"

#include <atomic>
#include <memory>
#include <set>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/filesystem/operations.hpp>
#include <unistd.h>

#include "base/directories.h"
#include "base/limits.h"
#include "base/threads.h"
#include "collect/sources.h"
#include "collect/tree_copy.h"
#include "logging/logger.h"
#include "platform/users.h"
#include "sysinfo/reports.h"

namespace quelmar::logutils::macos {
namespace {

constexpr std::uintmax_t kMaxLaunchdLogBytes = 10'485'760;  // 10 MiB

// All records of the driver carry the name of its main function, in whichever step they are written.
#define DRIVER_LOG(level, ...) LOG_CALL_AS("collectRunningLog", level, __VA_ARGS__)

/// Makes a folder below the scratch folder, open to all users. @return false after a failure (logged)
bool makeFolder(const fs::path& folder) {
  std::error_code ec;
  if (utilities::ensureDirectoryExist(folder.string(), ec)) return true;
  DRIVER_LOG(kErr, "dir {} not exist; Reason: code:{} msg:{}", folder.string(), ec.value(), ec.message());
  return false;
}

void openToAll(const std::string& dir) {
  const std::string command = "chmod -R 777 " + dir;
  const char* failure = "others could exchange the folder";
  whileFixed(dir, [&] { failure = details::cmdPopenWithin(kLimits.openCopies, command) ? nullptr : ""; });
  if (failure != nullptr) DRIVER_LOG(kErr, "cmdPopen {} fail; Reason: outStr:{}", command, failure);
}

void tellGivenUp(const std::string& what) {
  DRIVER_LOG(kWarn, "copy {} given up.; Reason: nothing has moved for {} s", what, kLimits.stalledCopy.count());
}

using Copy = std::function<void(const Source& source, const fs::path& from, const fs::path& to)>;

/// Calls `copy` with each source of a step, `name` filled in, on a thread of its own. What does not move any more, as
/// on a share whose server is gone, is given up (logged), and so are the user's other sources.
void copySources(Step step, const std::string& name, const fs::path& dir, const Copy& copy) {
  static auto* const kStalled = new std::set<std::string>;  // users whose folders do not answer
  for (const Source& source : kSources) {
    if (source.step != step) continue;
    const std::string from = filledIn(source.path, name);
    if (*source.record != '\0') DRIVER_LOG(kInfo, "{}", source.record);
    const bool isUsers = from != source.path && step != kMachine;
    const auto work = [copy, &source, from, to = dir / filledIn(source.destination, name)] { copy(source, from, to); };
    const auto failed = [](const char* reason) {
      DRIVER_LOG(kErr, "{}; Reason: exception:{}", "collect running log failed.", reason);
    };
    if (isUsers && kStalled->count(name) != 0) {
      DRIVER_LOG(kWarn, "copy {} given up.; Reason: another folder of {} does not answer", from, name);
    } else if (!runWhileMoving(kLimits.stalledCopy, work, failed)) {
      if (isUsers) kStalled->insert(name);
      tellGivenUp(from);
    }
  }
}

void copyFolders(Step step, const std::string& name, const fs::path& dir, const FileFilter& filter) {
  copySources(step, name, dir, [filter](const Source& source, const fs::path& from, const fs::path& to) {
    helper::copyDir(from, to, source.isFolderOfCrashReports ? diagnosticReportFilter() : filter);
  });
}

void copyInstallerLog(const Source&, const fs::path& source, const fs::path& target) {
  if (const std::error_code ec = helper::copyOneFile(source, target)) {
    DRIVER_LOG(kErr, "copy_file {} to {} failed.; Reason: code:{} msg:{}", source.string(), target.string(), ec.value(),
               ec.message());
  }
}

constexpr const char* kWideLog = "collectSystemWideLog";
constexpr const char* kUemState = "collectSystemStateForUem";

/// Starts a report's collector on a thread, or throws std::system_error. It may still run when the process ends.
std::future<void> start(const char* name, std::function<void()> collect) {
  return startDetached(std::move(collect),
                       [name](const char* reason) { DRIVER_LOG(kErr, "Exec {} failed; Reason: {}", name, reason); });
}

void await(const char* name, const std::future<void>& ended) {
  const auto status = ended.wait_for(kLimits.sideCollector);
  if (status == std::future_status::timeout) DRIVER_LOG(kWarn, "Exec {} is timeout", name);
  if (status == std::future_status::deferred) DRIVER_LOG(kWarn, "Exec {} is deferred", name);
}

std::vector<std::string> users() {
  std::vector<std::string> list;
  const std::string& loginUser = process::loginUser();
  if (loginUser.empty()) {
    DRIVER_LOG(kErr, "{}{}", "getCurrentLoginUser failed.", "");
  } else {
    list.push_back(loginUser);
  }
  // Always: the sources in /Users/root are tried too, and usually reported missing.
  list.emplace_back("root");
  return list;
}

void copyNetData(const fs::path& dir, const FileFilter& filter) {
  std::error_code ec;
  const std::string shared = utilities::macos::getSharedDataPath(ec);
  if (ec) tell(STDERR_FILENO, fmt::format("getSharedDataPath fail,error:{}msg:{}\n", ec.value(), ec.message()));
  copyFolders(kMachine, shared, dir, filter);
}

void copyPortalFile(const Source&, const fs::path& source, const fs::path& target) {
  const auto isWanted = [&](const std::string& path) { return path == source; };
  if (!helper::copyFile2Dir(source.parent_path().string(), target.parent_path().string(), isWanted, true)) {
    DRIVER_LOG(kErr, "copy portal file {} failed.", source.filename().string());
  }
}

void copyFile(const fs::path& source, const fs::path& folder) {
  std::error_code ec;
  openFolder(folder.string(), Links::kOwn, ec);
  if (ec) {
    LOG_CALL(kErr, "directory {} not exist.; Reason: code:{} msg:{}", folder.string(), ec.value(), ec.message());
    return;
  }
  ec = helper::copyOneFile(source, folder / source.filename());
  if (ec && !helper::isUsualLoss(ec)) {
    LOG_CALL(kWarn, "copy {} to {} failed.; Reason: code:{} msg:{}", source.string(), folder.string(), ec.value(),
             ec.message());
  }
}

void copyLaunchdLog(const Source&, const fs::path& source, const fs::path& target) {
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
  if (!makeFolder(target.parent_path())) return;
  copyFile(source, target.parent_path());
  DRIVER_LOG(kInfo, "launchd.log file size {}", size);
}

boost::posix_time::ptime localTime() {
  try {
    return boost::posix_time::second_clock::local_time();
  } catch (const std::exception&) {  // a clock past the year 9999
    return boost::posix_time::ptime(boost::posix_time::max_date_time);
  }
}

}  // namespace

void collectRunningLog(const std::string& dir) {
  const fs::path scratch(dir);
  const fs::path logsDir = scratch / "logs";
  std::error_code ec;
  if (utilities::ensureDirectoryExist(dir, ec)) openToAll(dir);
  if (!makeFolder(logsDir)) return;
  copySources(kInstaller, "", scratch, copyInstallerLog);

  const FileFilter filter = copyFilter(collectedExtensions(), localTime());
  const auto wideLog = start(kWideLog, [folder = logsDir.string()] { collectSystemWideLog(folder); });
  const std::vector<std::string> userList = users();
  const std::string& firstUser = userList.front();
  DRIVER_LOG(kInfo, "{}", "collect uem logs...");
  copyFolders(kManagement, firstUser, scratch, filter);

  DRIVER_LOG(kInfo, "{}", "start uem system state collection thread ...");
  const auto uemState =
      start(kUemState, [folder = logsDir.string(), firstUser] { collectSystemStateForUem(folder, firstUser); });

  DRIVER_LOG(kInfo, "{}", "collect user files ...");
  const auto isAgentWanted = std::make_shared<std::atomic<bool>>(false);
  const auto measure = [isAgentWanted] { *isAgentWanted = checkIsCollectOkvuLog(collectedExtensions()); };
  if (!runWhileMoving(kLimits.stalledCopy, measure, [](const char*) {})) tellGivenUp("of the agent's logs");
  if (*isAgentWanted) copyFolders(kAgent, "", scratch, filter);
  copyNetData(scratch, filter);
  for (const std::string& user : userList) copyFolders(kUser, user, scratch, filter);
  copyFolders(kShared, "", scratch, filter);
  copySources(kPortal, "", scratch, copyPortalFile);
  copySources(kLaunchd, "", scratch, copyLaunchdLog);

  DRIVER_LOG(kInfo, "{}", "wait for uem collect system state log ...");
  await(kUemState, uemState);
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system state done");
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system log ...");
  await(kWideLog, wideLog);
  DRIVER_LOG(kInfo, "{}", "wait for uem collect system done");
  DRIVER_LOG(kInfo, "{}", "collectRunningLog done");
}

}  // namespace quelmar::logutils::macos

#include <cstdint>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <unistd.h>

#include "app/options.h"
#include "app/process.h"
#include "app/result_codes.h"
#include "app/terminal.h"
#include "base/directories.h"
#include "base/limits.h"
#include "base/threads.h"
#include "collect/file_system.h"
#include "collect/running_log.h"
#include "logging/log_call.h"
#include "logging/log_setup.h"
#include "sysinfo/report.h"
#include "sysinfo/shell.h"
#include "sysinfo/system_info.h"
#include "tunnel/module_dump.h"
#include "workspace/cached_logs.h"
#include "workspace/housekeeping.h"
#include "workspace/output_location.h"
#include "workspace/packaging.h"
#include "zipper/entry_count.h"

namespace fs = boost::filesystem;

namespace quelmar {

/// The tunnel service's internal modules, under the service's own names.
extern const std::vector<std::string> modules;
const std::vector<std::string> modules = {
    "selectLine",       "lineDetector", "dnsResolver", "tunConntrack",  "l3Tunnel",
    "dataConvertor",    "trustTunnel",  "DNS",         "tunnelOptions", "appDnsFilter",
    "trustApplication", "dataProvider", "VNIC"};

namespace {

/// Answers --help or --version, which end the run at once. @return false when neither was given
bool showHelpOrVersion(const cmdline::parser& parser) {
  if (parser.exist("help")) {
    tell(STDERR_FILENO, parser.usage() + "\n");
    return true;
  }
  if (!parser.exist("version")) return false;
  tell(STDOUT_FILENO, logcollect_version_string());
  return true;
}

/// Opens the tool's own log; the run goes on without it.
void openOwnLog() {
  if (!initLogName("LogColltionTool")) LOG_CALL_AS("main", kErr, "{}{}", "initLogName failed.", "");
}

/// Removes old output; the run goes on when that fails.
void cleanOutputRoot(const std::string& dir, utilities::Links links) {
  try {
    checkAndCleanLogDir(dir, links);
  } catch (const std::exception& failure) {  // out of memory; what is left does no harm
    LOG_CALL_AS("main", kErr, "{}; Reason: exception:{}", "delete file error", failure.what());
  }
}

/// Makes the scratch folder, open to every user; the run goes on without it.
/// @return names in it that could not be removed. They must not be packed: another user may have put hard
///         links to private files of the calling user there.
std::set<std::string> prepareScratch(const std::string& logFilesDir) {
  std::set<std::string> leftovers;
  bool made = false;
  std::error_code ec = utilities::claimDirectory(logFilesDir, utilities::Links::kNone, &made);
  if (ec) {
    LOG_CALL_AS("main", kWarn, "create_directories({}) return failed; Reason: Error code={}, msg={}",
                logFilesDir, ec.value(), ec.message());
    return leftovers;
  }
  if (!made) {
    std::string entries;
    utilities::listDirectory(logFilesDir.c_str(), utilities::Links::kNone, entries);
    utilities::forEachEntry(entries, [&](utilities::EntryKind, const char* name) { leftovers.insert(name); });
  }
  if (!leftovers.empty()) {
    LOG_CALL_AS("main", kWarn, "{} entries of {} could not be removed and are not packed, such as {}",
                leftovers.size(), logFilesDir, *leftovers.begin());
  }
  ec = utilities::openToAllUsers(logFilesDir);
  if (ec) {
    LOG_CALL_AS("main", kWarn, "permissions all_all({}) return failed; Reason: Error code={}, msg={}",
                logFilesDir, ec.value(), ec.message());
  }
  return leftovers;
}

/// Starts the three collectors, each on a detached thread that calls group.add(-1) when it is done.
/// Throws std::system_error when a thread cannot be started.
void startCollectors(const std::string& logFilesDir, const std::string& systemInfoPath,
                     std::uint64_t startSeconds, WaitGroup& group, Terminal& terminal) {
  terminal.begin("system information");
  group.add(1);
  std::thread([systemInfoPath, startSeconds, &group, &terminal] {
    const auto budget = static_cast<std::uint64_t>(kLimits.systemInformation.count());
    logutils::macos::collectSystemInfo(systemInfoPath, startSeconds, budget, &group);
    terminal.done("system information");
  }).detach();

  terminal.begin("tunnel dump");
  group.add(1);
  std::thread([&group, &terminal] {
    LOG_CALL(kInfo, "{}", "begin dump trust xtunnel process info ...");
    dumpXTunnelProc();
    LOG_CALL(kInfo, "{}", "end dump trust xtunnel proces info");
    terminal.done("tunnel dump");
    group.add(-1);
  }).detach();

  terminal.begin("running logs");
  group.add(1);
  std::thread([logFilesDir, &group, &terminal] {
    LOG_CALL(kInfo, "begin collect running log {} ...", logFilesDir);
    try {
      logutils::macos::collectRunningLog(logFilesDir);
    } catch (const std::exception& failure) {
      // The archive is still made, from what was collected so far.
      LOG_CALL(kErr, "{}; Reason: exception:{}", "collect running log failed.", failure.what());
    } catch (...) {
      LOG_CALL(kErr, "{}; Reason: exception:{}", "collect running log failed.", "unknown");
    }
    LOG_CALL(kInfo, "end collect running log {} ", logFilesDir);
    terminal.done("running logs");
    group.add(-1);
  }).detach();
}

/// Removes the copies and the report once they are in the archive, or packing has failed.
void removeScratch(const std::string& logFilesDir, const std::string& systemInfoPath) {
  cleanDir(logFilesDir, true, utilities::Links::kNone);
  std::error_code ignored;
  helper::ensureRemove(systemInfoPath, ignored);
}

/// Shows the archive in the file browser. The path is not quoted: kept on purpose.
void openExplorer(const std::string& zipPath) {
  const std::string command = "open -R " + zipPath;
  if (!logutils::macos::details::cmdPopenWithin(kLimits.reveal, command)) {
    LOG_CALL(kErr, "cmdPopen failed. {}; Reason: {}", command, "");  // there is no output then
  }
}

}  // namespace
}  // namespace quelmar

int main(int argc, char** argv) {
  using namespace quelmar;

  // 1. Options. Unknown or malformed ones are ignored.
  const ParamCheck options;
  cmdline::parser& parser = options.parser();
  parser.parse(argc, argv);
  if (showHelpOrVersion(parser)) return kResultSuccess;
  const bool isQuiet = parser.exist("quiet");

  // 2. Change to the executable's folder. The exception of a failure is not caught: it ends the run here.
  Terminal terminal(!isQuiet);
  prepareProcess(terminal);
  const std::string program = argc > 0 ? argv[0] : "";
  const fs::path folder = fs::path(program).parent_path();
  tell(STDOUT_FILENO, "app path:" + program + "\n");
  tell(STDOUT_FILENO, "set sdp agent current work path " + folder.string() + "\n");
  fs::current_path(folder);
  tell(STDOUT_FILENO, "Start collecting logs...\n");

  // 3. The tool's own log.
  const std::uint64_t startSeconds = utilities::steadySeconds();
  openOwnLog();
  LOG_CALL(kInfo, "{}", "Collection log start");
  std::string dir = parser.exist("dir") ? options.getValue<std::string>("dir") : "";
  if (parser.exist("onlyKey")) {
    LOG_CALL(kInfo, "Collection log({}) is enable", "onlyKey");
    SharedInst::inst() = true;
  }

  // 4. The output root, and free space on its volume. Only these two failures end a run early.
  utilities::Links links{};
  if (!ensureLogRootDir(dir, fs::path(program).filename().string(), &links)) {
    LOG_CALL(kErr, "ensureLogRootDir {} failed.{}", dir, "");
    endProcess(kResultNoOutputRoot);
  }
  if (checkDiskIsFull(dir)) {
    LOG_CALL(kErr, "{}; Reason: The space of the drive where the ({}) resides is full",
             "Log collection failure", dir);
    endProcess(kResultDiskFull);
  }

  // 5. Remove old output, make an empty scratch folder.
  LOG_CALL(kInfo, "{}", "begin flush log ...");  // nothing is flushed here: kept on purpose
  cleanOutputRoot(dir, links);
  const std::string logFilesDir = (fs::path(dir) / "logFiles").string();
  const std::set<std::string> leftovers = prepareScratch(logFilesDir);

  // 6. The three collectors, in parallel.
  WaitGroup group;
  const std::string systemInfoPath = (fs::path(dir) / "system_info.log").string();
  limitReports(dir);
  startCollectors(logFilesDir, systemInfoPath, startSeconds, group, terminal);
  terminal.wait(group);

  // 7. Copy the tool's own log, then pack everything into one archive.
  Logger::GetInstance().flush();
  collectSelf(logFilesDir);
  const std::string zipPath = initZipLogPath(dir);
  LOG_CALL(kInfo, "begin compress running log to {} ...", zipPath);
  std::vector<std::string> paths = collectCacheLogPaths(logFilesDir, leftovers);
  if (logutils::macos::details::claimReport("main", systemInfoPath)) paths.push_back(systemInfoPath);
  terminal.run("packing", [&] { compressLogs(paths, zipPath, logFilesDir); });
  terminal.setArchive(zipPath, zipper::entryCount(zipPath).value_or(0));
  LOG_CALL(kInfo, "end compress running log to {}", zipPath);

  // 8. Remove everything but the archive, and show that.
  LOG_CALL(kInfo, "{}", "begin clear cache log");
  terminal.run("clearing up", [&] { removeScratch(logFilesDir, systemInfoPath); });
  LOG_CALL(kInfo, "{}", "clear cache log done");
  if (!isQuiet) openExplorer(zipPath);
  LOG_CALL(kInfo, "{}", "Collection log completed");
  tell(STDOUT_FILENO, "Collection log completed.\n");
  endProcess(kResultSuccess);
}

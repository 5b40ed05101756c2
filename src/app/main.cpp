#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <boost/filesystem/operations.hpp>
#include <unistd.h>

#include "app/options.h"
#include "app/process.h"
#include "app/result_codes.h"
#include "app/terminal.h"
#include "base/limits.h"
#include "base/threads.h"
#include "collect/running_log.h"
#include "logging/logger.h"
#include "sysinfo/reports.h"
#include "tunnel/module_dump.h"
#include "workspace/output_root.h"
#include "workspace/packing.h"

namespace quelmar {

/// The tunnel service's internal modules, under the service's own names.
extern const std::vector<std::string> modules;
const std::vector<std::string> modules = {
    "selectLine", "lineDetector",  "dnsResolver",  "tunConntrack",     "l3Tunnel",     "dataConvertor", "trustTunnel",
    "DNS",        "tunnelOptions", "appDnsFilter", "trustApplication", "dataProvider", "VNIC"};

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

void cleanOutputRoot(const std::string& dir) {
  try {
    checkAndCleanLogDir(dir);
  } catch (const std::exception& failure) {  // out of memory; old output does no harm
    LOG_CALL_AS("main", kErr, "{}; Reason: exception:{}", "delete file error", failure.what());
  }
}

/// Throws std::system_error when no thread can be started.
void startCollector(const char* name, WaitGroup& group, Terminal& terminal, std::function<void()> collect) {
  terminal.begin(name);
  group.add(1);
  std::thread([name, &group, &terminal, collect = std::move(collect)] {
    const ScopeGuard signOff([&group] { group.add(-1); });
    collect();
    terminal.done(name);
  }).detach();
}

constexpr const char* kWorker = "operator()";  // in the workers' records: kept on purpose

void dumpTunnel() {
  LOG_CALL_AS(kWorker, kInfo, "{}", "begin dump trust xtunnel process info ...");
  // The exchange has its limit; the file with the port may be on a share that does not answer.
  if (!runWithin(2 * kLimits.tunnelExchange, dumpXTunnelProc)) {
    LOG_CALL_AS(kWorker, kErr, "{}; Reason: {}", "dump xtunnel failed.", "no answer");
  }
  LOG_CALL_AS(kWorker, kInfo, "{}", "end dump trust xtunnel proces info");
}

void collectLogs(const std::string& logFilesDir) {
  LOG_CALL_AS(kWorker, kInfo, "begin collect running log {} ...", logFilesDir);
  try {
    logutils::macos::collectRunningLog(logFilesDir);
  } catch (const std::exception& failure) {
    // The archive is still made, from what was collected so far.
    LOG_CALL_AS(kWorker, kErr, "{}; Reason: exception:{}", "collect running log failed.", failure.what());
  }
  LOG_CALL_AS(kWorker, kInfo, "end collect running log {} ", logFilesDir);
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

  // 2. Change to the executable's folder. The exception of a failure is not caught: it ends the run here.
  Terminal terminal(!parser.exist("quiet"));
  prepareProcess(terminal);
  const fs::path program = argc > 0 ? argv[0] : "";
  const fs::path folder = program.parent_path();
  tell(STDOUT_FILENO, "app path:" + program.string() + "\n");
  tell(STDOUT_FILENO, "set sdp agent current work path " + folder.string() + "\n");
  fs::current_path(folder);
  tell(STDOUT_FILENO, "Start collecting logs...\n");

  // 3. The tool's own log.
  const std::uint64_t startSeconds = steadySeconds();
  if (!initLogName("LogColltionTool")) LOG_CALL(kErr, "{}{}", "initLogName failed.", "");
  LOG_CALL(kInfo, "{}", "Collection log start");
  std::string dir = parser.exist("dir") ? options.getValue<std::string>("dir") : "";
  if (parser.exist("onlyKey")) {
    LOG_CALL(kInfo, "Collection log({}) is enable", "onlyKey");
    SharedInst::inst() = true;
  }

  // 4. The output root, and free space on its volume. Only these two failures end a run early.
  if (!ensureLogRootDir(dir, program.filename().string())) {
    LOG_CALL(kErr, "ensureLogRootDir {} failed.{}", dir, "");
    endProcess(kResultNoOutputRoot);
  }
  if (checkDiskIsFull(dir)) {
    LOG_CALL(kErr, "{}; Reason: The space of the drive where the ({}) resides is full", "Log collection failure", dir);
    endProcess(kResultDiskFull);
  }

  // 5. Remove old output, make an empty scratch folder.
  LOG_CALL(kInfo, "{}", "begin flush log ...");  // nothing is flushed here: kept on purpose
  cleanOutputRoot(dir);
  const Scratch scratch = makeScratch(dir);
  limitReports(dir);
  const auto systemInfo = logutils::macos::makeSystemInfo(scratch.systemInfo);
  setCleanUp([dir, scratch] { removeScratch(dir, scratch, {}); });

  // 6. The three collectors, in parallel.
  WaitGroup group;
  startCollector("system information", group, terminal, [systemInfo, startSeconds] {
    logutils::macos::collectSystemInfo(systemInfo, startSeconds, kLimits.systemInformation);
  });
  startCollector("tunnel dump", group, terminal, dumpTunnel);
  startCollector("running logs", group, terminal, [scratch] { collectLogs(scratch.logFiles); });
  terminal.wait(group);

  // 7. Copy the tool's own log, then pack everything into one archive.
  Logger::GetInstance().flush();
  collectSelf(scratch.logFiles);
  const std::string zipPath = initZipLogPath(dir);
  setCleanUp([dir, scratch, zipPath] { removeScratch(dir, scratch, zipPath); });
  LOG_CALL(kInfo, "begin compress running log to {} ...", zipPath);
  std::vector<std::string> paths = collectCacheLogPaths(scratch.logFiles);
  if (systemInfo->isMade()) paths.push_back(scratch.systemInfo);
  std::uint64_t files = 0;
  terminal.run("packing", [&] { compressLogs(paths, zipPath, scratch.logFiles, &files); });
  terminal.setArchive(zipPath, files);
  LOG_CALL(kInfo, "end compress running log to {}", zipPath);

  // 8. Remove everything but the archive, and show that.
  LOG_CALL(kInfo, "{}", "begin clear cache log");
  terminal.run("clearing up", [&] { removeScratch(dir, scratch, {}); });
  LOG_CALL(kInfo, "{}", "clear cache log done");
  if (!parser.exist("quiet")) openExplorer(zipPath);
  LOG_CALL(kInfo, "{}", "Collection log completed");
  tell(STDOUT_FILENO, "Collection log completed.\n");
  endProcess(kResultSuccess);
}

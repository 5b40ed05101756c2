#include "sysinfo/reports.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <exception>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>
#include <fmt/chrono.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "base/files.h"
#include "base/threads.h"
#include "logging/logger.h"
#include "platform/command.h"
#include "platform/host.h"
#include "platform/users.h"

namespace quelmar::logutils::macos {
namespace {

constexpr std::uintmax_t kUnit = 1024;  // "ulimit -f" counts in blocks of this size, or of half of it
constexpr std::size_t kReadBytes = 4096;
constexpr std::size_t kMaxCapturedBytes = 1024 * 1024;
constexpr int kFileSizeExceeded = 128 + SIGXFSZ;
constexpr int kSpanMinutes = 10;
constexpr const char* kStamp = "{:%Y-%m-%d %H:%M:%S}";

struct StateSection {
  const char* title;
  const char* logged;  ///< its name in the log
  const char* command;
  const char* needed = nullptr;  ///< without this entry the section is left out
};

constexpr StateSection kSections[] = {
    {"UEM processes", "uem process", "ps aux | grep QMUem | grep -v grep >> "},
    {"Kernel state", "kernel state", "sysctl -a >> "},
    {"SIP state", "SIP state", "csrutil status >> "},
    {"KEXT state", "KEXT state", "kextstat >> "},
    {"SEXT state", "SEXT state", "plutil -p /Library/SystemExtensions/db.plist >> ",
     "/Library/SystemExtensions/db.plist"},
};

std::uintmax_t maxReportBytes = 1'073'741'824;  // 1 GiB

void logNotStarted(const std::string& cmd, int error) {
  LOG_CALL_AS("cmdPopen", kErr, "popen(cmd) fail,cmd:{}; Reason: errorno:{},msg:{}", cmd, error, std::strerror(error));
}

void writeSystemInfo(details::Report& report) {
  const platform::HostCommands& commands = platform::hostCommands();
  const auto list = [&report](const std::string& folder) { report.run("ls -l -R '" + folder + "' >> "); };
  for (const auto& [title, lines] : commands.sections) {
    report.banner(title);
    for (const std::string& line : lines) report.run(line);
  }
  report.banner("file permission info");
  list("/Library/Application Support/oBrela");
  list("/Users/root/Library/Application Support/oBrela");
  const std::string& user = process::loginUser();
  if (!user.empty()) list("/Users/" + user + "/Library/Application Support/oBrela");
  report.banner("Launch info");
  for (const std::string& command : commands.launchCommands) report.run(command);
  for (const std::string& folder : commands.launchFolders) list(folder);
}

}  // namespace

bool details::cmdPopen(const std::string& cmd, std::string& output) {
  output.clear();
  output.reserve(kMaxCapturedBytes + kReadBytes);  // else memory could run out between the command's start and end
  // One byte more than is read at a time, so that the text always ends in a zero byte.
  std::array<char, kReadBytes + 1> buffer{};
  platform::Command command;
  if (const int error = command.start(cmd)) {
    logNotStarted(cmd, error);
    return false;
  }
  // The buffer keeps older bytes behind those of a short read: kept on purpose, readers of captured texts know it.
  while (command.read(buffer.data(), kReadBytes) > 0) {
    if (output.size() < kMaxCapturedBytes) output += buffer.data();
  }
  command.wait();
  return true;
}

bool details::cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd) {
  const int status = platform::runCommand(limit, cmd);
  if (status < 0 && status != -ETIMEDOUT) logNotStarted(cmd, -status);
  return status >= 0;
}

void details::out2File(const Descriptor& report, const std::string& text) {
  writeAll(report.get(), text.data(), text.size());
}

void details::limitReports(std::uintmax_t bytes) {
  rlimit own{};
  if (getrlimit(RLIMIT_FSIZE, &own) == 0) bytes = std::min<std::uintmax_t>(bytes, own.rlim_cur);
  maxReportBytes = bytes / kUnit * kUnit;
}

details::Report::Report(const char* function, std::string path, std::string target)
    : function_(function), path_(std::move(path)), target_(std::move(target)) {
  std::error_code ec;
  const Place place = locate(path_, Links::kOwn, ec);
  if (!ec) file_ = makeFile(place.folder.get(), place.name.c_str(), O_WRONLY | O_APPEND, 0666, Overwrite::kYes, ec);
  hasEnded_ = ec && ec != std::errc::no_such_file_or_directory;
  if (hasEnded_) {
    LOG_CALL_AS(function_, kWarn, "report {} left out.; Reason: code:{} msg:{}", path_, ec.value(), ec.message());
  }
}

void details::Report::banner(const std::string& title) {
  constexpr std::size_t kRuleWidth = 34;
  const std::string rule(kRuleWidth, '=');
  const std::string text = rule + " " + title + " " + rule + "\n";
  endIfFull(text.size(), false, title);
  if (!hasEnded_) out2File(file_, text);
}

bool details::Report::run(const std::string& command) {
  if (hasEnded_) return true;
  const std::string line = command + target_;
  const std::string limit = "ulimit -S -f " + std::to_string(maxReportBytes / platform::kShellBlockBytes) + "; ";
  // The descriptor takes the place of the target's name.
  const std::string redirected = limit + command.substr(0, command.rfind(">>")) + ">&3";
  platform::Command shell;
  if (const int error = shell.start(redirected, file_.get())) {
    logNotStarted(line, error);
    return false;
  }
  endIfFull(1, shell.wait() == kFileSizeExceeded, line);
  return true;
}

void details::Report::endIfFull(std::uintmax_t more, bool cutOff, const std::string& text) {
  struct stat info {};
  if (hasEnded_ || fstat(file_.get(), &info) != 0) return;
  const auto size = static_cast<std::uintmax_t>(info.st_size);
  hasEnded_ = cutOff || size + more > maxReportBytes;
  if (hasEnded_) {
    LOG_CALL_AS(function_, kWarn, "report {} ends at its limit of {} bytes; Reason: no room for all of: {}", path_,
                cutOff ? size : maxReportBytes, text);
  }
}

std::shared_ptr<details::Report> makeSystemInfo(const std::string& path) {
  return std::make_shared<details::Report>("collectSystemInfo", path, "\"" + path + "\"");
}

void collectSystemInfo(const std::shared_ptr<details::Report>& report, std::uint64_t startSeconds,
                       std::chrono::seconds limit) {
  const auto failed = [](const char* reason) {
    LOG_CALL_AS("collectSystemInfo", kErr, "collectSystemInfo failed; Reason: {}", reason);
  };
  try {
    const std::future<void> ended = startDetached([report] { writeSystemInfo(*report); }, failed);
    LOG_CALL(kInfo, "{}", "wait for collectSystemInfo ...");
    const std::chrono::seconds elapsed(steadySeconds() - startSeconds);
    if (ended.wait_for(std::max(limit, elapsed) - elapsed) == std::future_status::timeout) {
      LOG_CALL(kWarn, "{}{}", "Exec collectSystemInfo is timeout", "");
    }
    LOG_CALL(kInfo, "{}", "wait for collectSystemInfo done");
  } catch (const std::exception& failure) {
    failed(failure.what());
  }
}

void collectSystemStateForUem(const std::string& folder, const std::string& name) {
  const std::string path = (fs::path(folder) / ("uem_" + name) / "system_state.log").string();
  details::Report report(__func__, path, path);
  for (const StateSection& section : kSections) {
    boost::system::error_code ec;
    // The command tells of one that cannot be looked at.
    if (section.needed != nullptr && fs::symlink_status(section.needed, ec).type() == fs::file_not_found) continue;
    LOG_CALL(kInfo, "collectSystemStateForUem start collect {}", section.logged);
    report.banner(section.title);
    const bool started = report.run(section.command);
    LOG_CALL(kInfo, "collectSystemStateForUem collect {} done, ret={}", section.logged, started);
  }
}

std::pair<std::string, std::string> wideLogSpan(std::time_t now) {
  std::tm time{};
  localtime_r(&now, &time);
  const std::string end = fmt::format(kStamp, time);
  time.tm_min -= kSpanMinutes;
  std::mktime(&time);
  return {fmt::format(kStamp, time), end};
}

void collectSystemWideLog(const std::string& folder) {
  const auto [start, end] = wideLogSpan(std::time(nullptr));
  const std::string path = (fs::path(folder) / "system_wide.log").string();
  LOG_CALL(kInfo, "{}", "collectSystemWideLog start");
  details::Report report(__func__, path, path);
  const bool started = report.run(fmt::format(fmt::runtime(platform::hostCommands().wideLogQuery), start, end));
  LOG_CALL(kInfo, "collectSystemWideLog done, ret={}", started);
}

}  // namespace quelmar::logutils::macos

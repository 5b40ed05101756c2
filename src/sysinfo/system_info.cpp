#include "sysinfo/system_info.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "base/scope_guard.h"
#include "logging/log_call.h"
#include "platform/console_user.h"
#include "sysinfo/report.h"

namespace quelmar::logutils::macos {
namespace {

using std::chrono::steady_clock;

class Report {
 public:
  explicit Report(const std::string& path) : path_(path), target_("\"" + path + "\"") {}

  void banner(const std::string& title) const { details::appendBanner(path_, title); }

  void run(const std::string& command) const {
    details::appendOutput("collectSystemInfo", path_, command + target_);
  }

  void list(const std::string& folder) const { run("ls -l -R '" + folder + "' >> "); }

 private:
  std::string path_;
  std::string target_;
};

std::vector<std::string> dataFolders() {
  std::vector<std::string> folders{"/Library/Application Support/oBrela",
                                   "/Users/root/Library/Application Support/oBrela"};
  std::string user;
  if (process::getCurrentLoginUser(user)) {
    folders.push_back("/Users/" + user + "/Library/Application Support/oBrela");
  }
  return folders;
}

std::uint64_t steadySeconds() {
  const auto now = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now().time_since_epoch());
  return static_cast<std::uint64_t>(now.count());
}

}  // namespace

void collectSystemInfo(const std::string& path, const platform::HostCommands& commands) {
  const Report report(path);
  for (const platform::ReportSection& section : commands.sections) {
    report.banner(section.title);
    for (const std::string& command : section.commands) report.run(command);
  }
  report.banner("file permission info");
  for (const std::string& folder : dataFolders()) report.list(folder);
  report.banner("Launch info");
  for (const std::string& command : commands.launchCommands) report.run(command);
  for (const std::string& folder : commands.launchFolders) report.list(folder);
}

void collectSystemInfo(const std::string& path) {
  collectSystemInfo(path, platform::hostCommands());
}

void collectSystemInfo(const std::string& path, std::uint64_t startSeconds, std::uint64_t limitSeconds,
                       WaitGroup* group) {
  const ScopeGuard signOff([group] { group->add(-1); });
  try {
    const auto done = std::make_shared<std::promise<bool>>();
    const std::future<bool> ended = done->get_future();
    std::thread([path, done] {
      try {
        // Of an earlier run, or of somebody else's: not to be added to.
        if (details::claimReport("collectSystemInfo", path, utilities::Wanted::kNothing))
          collectSystemInfo(path);
      } catch (const std::exception& failure) {
        LOG_CALL(kErr, "collectSystemInfo failed; Reason: {}", failure.what());
      } catch (...) {
        LOG_CALL(kErr, "collectSystemInfo failed; Reason: {}", "unknown");
      }
      done->set_value(true);
    }).detach();
    LOG_CALL(kInfo, "{}", "wait for collectSystemInfo ...");
    const std::uint64_t elapsed = steadySeconds() - startSeconds;
    const std::uint64_t remaining = std::max(limitSeconds, elapsed) - elapsed;
    const auto deadline = steady_clock::now() + std::chrono::seconds(remaining);
    if (ended.wait_until(deadline) == std::future_status::timeout) {
      LOG_CALL(kWarn, "{}{}", "Exec collectSystemInfo is timeout", "");
    }
    LOG_CALL(kInfo, "{}", "wait for collectSystemInfo done");
  } catch (const std::exception& failure) {
    LOG_CALL(kErr, "collectSystemInfo failed; Reason: {}", failure.what());
  }
}

}  // namespace quelmar::logutils::macos

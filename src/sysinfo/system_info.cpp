#include "sysinfo/system_info.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <vector>

#include "base/bounded_call.h"
#include "base/scope_guard.h"
#include "logging/log_call.h"
#include "sysinfo/login_user.h"
#include "sysinfo/report.h"

namespace quelmar::logutils::macos {
void collectSystemInfo(const std::string& path, const platform::HostCommands& commands) {
  details::Report report("collectSystemInfo", path, "\"" + path + "\"");
  const auto list = [&report](const std::string& folder) { report.run("ls -l -R '" + folder + "' >> "); };
  for (const platform::ReportSection& section : commands.sections) {
    report.banner(section.title);
    for (const std::string& command : section.commands) report.run(command);
  }
  report.banner("file permission info");
  list("/Library/Application Support/oBrela");
  list("/Users/root/Library/Application Support/oBrela");
  if (const auto& user = process::loginUser())
    list("/Users/" + *user + "/Library/Application Support/oBrela");
  report.banner("Launch info");
  for (const std::string& command : commands.launchCommands) report.run(command);
  for (const std::string& folder : commands.launchFolders) list(folder);
}

void collectSystemInfo(const std::string& path) {
  collectSystemInfo(path, platform::hostCommands());
}

void collectSystemInfo(const std::string& path, std::uint64_t startSeconds, std::uint64_t limitSeconds,
                       WaitGroup* group) {
  const ScopeGuard signOff([group] { group->add(-1); });
  const auto failed = [](const char* reason) {
    LOG_CALL_AS("collectSystemInfo", kErr, "collectSystemInfo failed; Reason: {}", reason);
  };
  try {
    const utilities::DetachedCall report(
        [path] {
          // Whatever is there is not this run's, and must not be appended to.
          if (details::claimReport("collectSystemInfo", path, utilities::Expected::kNothing)) {
            collectSystemInfo(path);
          }
        },
        failed);
    LOG_CALL(kInfo, "{}", "wait for collectSystemInfo ...");
    const std::uint64_t elapsed = utilities::steadySeconds() - startSeconds;
    const std::chrono::seconds remaining(std::max(limitSeconds, elapsed) - elapsed);
    if (report.await(std::chrono::steady_clock::now() + remaining) == std::future_status::timeout) {
      LOG_CALL(kWarn, "{}{}", "Exec collectSystemInfo is timeout", "");
    }
    LOG_CALL(kInfo, "{}", "wait for collectSystemInfo done");
  } catch (const std::exception& failure) {
    failed(failure.what());
  }
}

}  // namespace quelmar::logutils::macos

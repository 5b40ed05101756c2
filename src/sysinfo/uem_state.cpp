#include "sysinfo/uem_state.h"

#include <boost/filesystem/operations.hpp>

#include "logging/log_call.h"
#include "sysinfo/report.h"

namespace fs = boost::filesystem;

namespace quelmar::logutils::macos {
namespace {

constexpr const char* kExtensionDatabase = "/Library/SystemExtensions/db.plist";

struct StateSection {
  const char* startMessage;
  const char* title;
  const char* command;
  const char* doneFormat;
};

constexpr StateSection kSections[] = {
    {"collectSystemStateForUem start collect uem process", "UEM processes",
     "ps aux | grep QMUem | grep -v grep >> ", "collectSystemStateForUem collect uem process done, ret={}"},
    {"collectSystemStateForUem start collect kernel state", "Kernel state", "sysctl -a >> ",
     "collectSystemStateForUem collect kernel state done, ret={}"},
    {"collectSystemStateForUem start collect SIP state", "SIP state", "csrutil status >> ",
     "collectSystemStateForUem collect SIP state done, ret={}"},
    {"collectSystemStateForUem start collect KEXT state", "KEXT state", "kextstat >> ",
     "collectSystemStateForUem collect KEXT state done, ret={}"},
};

constexpr StateSection kExtensionSection = {"collectSystemStateForUem start collect SEXT state", "SEXT state",
                                            "plutil -p /Library/SystemExtensions/db.plist >> ",
                                            "collectSystemStateForUem collect SEXT state done, ret={}"};

}  // namespace

void collectSystemStateForUem(const std::string& folder, const std::string& name) {
  const fs::path uemDir = fs::path(folder) / ("uem_" + name);
  if (!details::claimReport(__func__, uemDir.string(), utilities::Wanted::kDirectory)) return;
  const std::string path = (uemDir / "system_state.log").string();
  details::Report report(__func__, path, path);
  const auto collect = [&report, function = __func__](const StateSection& section) {
    if (report.hasEnded()) return;
    LOG_CALL_AS(function, kInfo, "{}", section.startMessage);
    report.banner(section.title);
    const bool started = report.run(section.command);
    LOG_CALL_AS(function, kInfo, section.doneFormat, started);
  };
  for (const StateSection& section : kSections) collect(section);
  boost::system::error_code ec;
  // plutil tells of one that cannot be looked at.
  if (fs::symlink_status(kExtensionDatabase, ec).type() != fs::file_not_found) collect(kExtensionSection);
}

}  // namespace quelmar::logutils::macos

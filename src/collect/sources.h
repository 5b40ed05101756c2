#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// The steps of the running-log collection, in the order of the run; each copies its sources. kPort is no step: that
/// file is only read, by the tunnel dump.
enum Step { kInstaller, kManagement, kAgent, kMachine, kUser, kShared, kPortal, kLaunchd, kPort };

constexpr bool kCrashReports = true;

/// What is collected, from where, and where its copy goes.
struct Source {
  Step step;
  const char* path;         ///< "{}" is the user's name; in kMachine and kPort, the shared data folder
  const char* destination;  ///< below the scratch folder, and so in the archive; "{}" is the user's name
  const char* record = "";  ///< logged before the copy; empty for none
  bool isFolderOfCrashReports = false;
};

/// Every file and folder that a run collects, in the order of the run: kUser sources for each user, kManagement sources
/// for the first one only. docs/archive-layout.md has a row for each; no output folder may hold one (protectedPlaceIn).
inline constexpr Source kSources[] = {
    {kInstaller, "/var/log/quelmar/sdp/oBrelaInstallOut.log", "logs/oBrelaInstallOut.log"},
    {kManagement, "/Library/Application Support/uem/logs/quelmarlogs", "logs/uem_{}", "copy uem logs ..."},
    {kManagement, "/Users/{}/Library/Logs/DiagnosticReports", "logs/uem_{}/DiagnosticReports",
     "copy user crash logs ...", kCrashReports},
    {kManagement, "/Library/Logs/DiagnosticReports", "logs/uem_{}/DiagnosticReports", "copy system crash logs ...",
     kCrashReports},
    {kAgent, "/var/log/quelmar/OKVU3_LOG/okvu_agent_sys", "logs/OKVU/okvu_agent_sys"},
    {kAgent, "/var/log/quelmar/OKVU3_LOG/okvu_agent_user", "logs/OKVU/okvu_agent_user"},
    {kAgent, "/var/log/quelmar/OKVU3_LOG/okvu_packman", "logs/OKVU/okvu_packman"},
    {kAgent, "/var/log/quelmar/OKVU3_LOG/okvu_service", "logs/OKVU/okvu_service"},
    {kAgent, "/var/log/quelmar/OKVU3_LOG/okvusp_driver", "logs/OKVU/okvusp_driver"},
    {kMachine, "{}/netData", "netData"},
    {kUser, "/Users/{}/Library/Application Support/oBrela/logs", "logs/{}"},
    {kUser, "/Users/{}/Library/Application Support/oBrela/database", "database/{}"},
    {kUser, "/Users/{}/Library/Application Support/oBrela/nsdbase", "nsdbase/{}"},
    {kUser, "/Users/{}/Library/Logs/DiagnosticReports", "logs/{}/diagnosticReports", "", kCrashReports},
    {kUser, "/Users/{}/Library/Application Support/oBrela/Electron Crashes", "logs/{}/electron"},
    {kShared, "/Library/Application Support/oBrela/database", "database/share_user", "copy shared database ..."},
    {kShared, "/Library/Application Support/oBrela/iddbase", "iddbase/share_user", "copy iddbase ..."},
    {kShared, "/Library/Application Support/oBrela/Crash", "Crash", "copy dump files ..."},
    {kPortal, "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app/sdpc_md5.json", "portal-info/sdpc_md5.json"},
    {kPortal, "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app/static/.portal.json", "portal-info/.portal.json"},
    {kLaunchd, "/var/log/com.apple.xpc.launchd/launchd.log", "system/com.apple.xpc.launchd/launchd.log"},
    {kPort, "{}/var/run/debugserver", ""},
};

/// Replaces "{}" in a path or destination of the table by `name`.
inline std::string filledIn(std::string text, const std::string& name) {
  const std::size_t open = text.find("{}");
  return open == std::string::npos ? text : text.replace(open, 2, name);
}

}  // namespace quelmar::logutils::macos

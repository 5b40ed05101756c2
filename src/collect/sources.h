#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// The step of the running-log collection that takes a source, in the order of the run.
enum class Step { kInstaller, kManagement, kAgent, kMachine, kUser, kShared, kPortal, kLaunchd, kPort };

enum class SourceKind { kFile, kFolder, kCrashReports };

/// Where something comes from and where it goes.
struct Source {
  Step step;
  SourceKind kind;
  const char* path;         ///< "{}" stands for a user, in step kMachine and kPort for the shared data folder
  const char* destination;  ///< within the scratch folder; empty for what is read and not copied
  const char* record;       ///< logged before; empty for none
};

/// Everything that a run collects from, in the order of the run. Management reports are those of the first
/// user; the other sources of users are there for each.
inline constexpr Source kSources[] = {
    {Step::kInstaller, SourceKind::kFile, "/var/log/quelmar/sdp/oBrelaInstallOut.log",
     "logs/oBrelaInstallOut.log", ""},
    {Step::kManagement, SourceKind::kFolder, "/Library/Application Support/uem/logs/quelmarlogs",
     "logs/uem_{}", "copy uem logs ..."},
    {Step::kManagement, SourceKind::kCrashReports, "/Users/{}/Library/Logs/DiagnosticReports",
     "logs/uem_{}/DiagnosticReports", "copy user crash logs ..."},
    {Step::kManagement, SourceKind::kCrashReports, "/Library/Logs/DiagnosticReports",
     "logs/uem_{}/DiagnosticReports", "copy system crash logs ..."},
    {Step::kAgent, SourceKind::kFolder, "/var/log/quelmar/OKVU3_LOG/okvu_agent_sys",
     "logs/OKVU/okvu_agent_sys", ""},
    {Step::kAgent, SourceKind::kFolder, "/var/log/quelmar/OKVU3_LOG/okvu_agent_user",
     "logs/OKVU/okvu_agent_user", ""},
    {Step::kAgent, SourceKind::kFolder, "/var/log/quelmar/OKVU3_LOG/okvu_packman", "logs/OKVU/okvu_packman",
     ""},
    {Step::kAgent, SourceKind::kFolder, "/var/log/quelmar/OKVU3_LOG/okvu_service", "logs/OKVU/okvu_service",
     ""},
    {Step::kAgent, SourceKind::kFolder, "/var/log/quelmar/OKVU3_LOG/okvusp_driver", "logs/OKVU/okvusp_driver",
     ""},
    {Step::kMachine, SourceKind::kFolder, "{}/netData", "netData", ""},
    {Step::kUser, SourceKind::kFolder, "/Users/{}/Library/Application Support/oBrela/logs", "logs/{}", ""},
    {Step::kUser, SourceKind::kFolder, "/Users/{}/Library/Application Support/oBrela/database", "database/{}",
     ""},
    {Step::kUser, SourceKind::kFolder, "/Users/{}/Library/Application Support/oBrela/nsdbase", "nsdbase/{}",
     ""},
    {Step::kUser, SourceKind::kCrashReports, "/Users/{}/Library/Logs/DiagnosticReports",
     "logs/{}/diagnosticReports", ""},
    {Step::kUser, SourceKind::kFolder, "/Users/{}/Library/Application Support/oBrela/Electron Crashes",
     "logs/{}/electron", ""},
    {Step::kShared, SourceKind::kFolder, "/Library/Application Support/oBrela/database",
     "database/share_user", "copy shared database ..."},
    {Step::kShared, SourceKind::kFolder, "/Library/Application Support/oBrela/iddbase", "iddbase/share_user",
     "copy iddbase ..."},
    {Step::kShared, SourceKind::kFolder, "/Library/Application Support/oBrela/Crash", "Crash",
     "copy dump files ..."},
    {Step::kPortal, SourceKind::kFile, "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app/sdpc_md5.json",
     "portal-info/sdpc_md5.json", ""},
    {Step::kPortal, SourceKind::kFile,
     "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app/static/.portal.json", "portal-info/.portal.json",
     ""},
    {Step::kLaunchd, SourceKind::kFile, "/var/log/com.apple.xpc.launchd/launchd.log",
     "system/com.apple.xpc.launchd/launchd.log", ""},
    {Step::kPort, SourceKind::kFile, "{}/var/run/debugserver", "", ""},
};

/// A path or destination of the table with `name` in the place that it leaves open.
inline std::string filledIn(std::string text, const std::string& name) {
  const std::size_t open = text.find("{}");
  return open == std::string::npos ? text : text.replace(open, 2, name);
}

}  // namespace quelmar::logutils::macos

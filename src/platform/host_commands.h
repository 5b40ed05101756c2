#pragma once

#include <string>
#include <vector>

namespace quelmar::platform {

/// One section of the system information report.
struct ReportSection {
  std::string title;  ///< banner title
  /// Command lines, run in order; each ends with its redirection operator, the quoted target follows
  /// directly.
  std::vector<std::string> commands;
};

/// The command line that queries the system's unified log, cut where the two stamps and the target go:
/// beforeStart + start stamp + beforeEnd + end stamp + beforeTarget + target path (unquoted).
struct WideLogQuery {
  std::string beforeStart;
  std::string beforeEnd;
  std::string beforeTarget;
};

/// The command lines that differ from host to host. Everything else that the tool runs is the same
/// everywhere.
struct HostCommands {
  /// The report's sections before the listing of the client's data folders, in report order.
  std::vector<ReportSection> sections;
  /// Commands of the last section, "Launch info", that precede its folder listings.
  std::vector<std::string> launchCommands;
  /// Folders that "Launch info" lists, in order.
  std::vector<std::string> launchFolders;
  WideLogQuery wideLog;
};

/// The tables themselves; both are compiled on every host. Created on first use and never destroyed, since a
/// report thread may still read them while the process ends.
const HostCommands& macosCommands();
const HostCommands& linuxCommands();

/// The table of the host that this build is for.
const HostCommands& hostCommands();

}  // namespace quelmar::platform

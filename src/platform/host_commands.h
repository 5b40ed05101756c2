#pragma once

#include <string>
#include <vector>

namespace quelmar::platform {

/// One section of the system information report.
struct ReportSection {
  std::string title;  ///< banner title
  /// Command lines, run in order. Each ends with the redirection operator; the quoted target is appended.
  std::vector<std::string> commands;
};

/// The parts of the command line that queries the system's unified log:
/// beforeStart + start time stamp + beforeEnd + end time stamp + beforeTarget + target path (unquoted).
struct WideLogQuery {
  std::string beforeStart;
  std::string beforeEnd;
  std::string beforeTarget;
};

/// The command lines that differ between systems.
struct HostCommands {
  /// The report's sections before the listing of the client's data folders, in report order.
  std::vector<ReportSection> sections;
  /// Commands of the last section, "Launch info", that precede its folder listings.
  std::vector<std::string> launchCommands;
  /// Folders that "Launch info" lists, in order.
  std::vector<std::string> launchFolders;
  WideLogQuery wideLog;
};

/// The tables of both systems, compiled on each, so that both can be tested on one. Created on first use and
/// never destroyed, since a report thread may still read them while the process ends.
const HostCommands& macosCommands();
const HostCommands& linuxCommands();

/// The table of the system that this build is for.
const HostCommands& hostCommands();

}  // namespace quelmar::platform

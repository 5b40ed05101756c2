#pragma once

#include <ctime>
#include <string>

#include "platform/host_commands.h"

namespace quelmar::logutils::macos {

/// The time span of an extract: local time stamps "%Y-%m-%d %H:%M:%S".
struct WideLogSpan {
  std::string start;  ///< ten minutes before the end, normalised as local wall-clock time
  std::string end;
};

/// The span that ends at `now`, seconds since the epoch.
WideLogSpan wideLogSpan(std::time_t now);

/// Appends the messages of the unified log's last ten minutes that contain "quelmar" to "system_wide.log" in
/// `folder`. The path is passed to the shell unquoted. Blocks as long as the query takes. Logs a start and a
/// done record; a query that fails is not logged.
/// @param folder    must exist.
/// @param commands  the host's command lines.
void collectSystemWideLog(const std::string& folder, const platform::HostCommands& commands);

/// As above with this host's command lines.
void collectSystemWideLog(const std::string& folder);

}  // namespace quelmar::logutils::macos

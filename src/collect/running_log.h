#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// Copies the logs, databases and crash reports of the client, its companion agents and the system (see sources.h) into
/// the scratch folder `dir`. Two threads write the agents' state report and the unified log's extract there meanwhile;
/// after the copying it waits at most 30 seconds for each. Every source is optional: failures are logged and the next
/// source follows. Returns early only when the folder `dir`/logs cannot be created (logged). Throws std::system_error
/// when one of the threads cannot be started.
void collectRunningLog(const std::string& dir);

}  // namespace quelmar::logutils::macos

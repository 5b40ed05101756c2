#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// Copies all sources (see sources.h) into the scratch folder `dir`. Two threads write the agents' state report and the
/// unified log's extract there meanwhile; at the end it waits for each (kLimits.sideCollector). Failures are logged,
/// and the next source follows; only when the folder `dir`/logs cannot be made (logged) it returns early. Throws
/// std::system_error when one of the threads cannot be started.
void collectRunningLog(const std::string& dir);

}  // namespace quelmar::logutils::macos

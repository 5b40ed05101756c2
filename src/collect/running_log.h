#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// Copies all sources (see sources.h) into the scratch folder `dir`, while two threads write the agents' state report
/// and the unified log's extract there, and waits for each (kLimits.sideCollector). Failures are logged; only when
/// `dir`/logs cannot be made it returns early. Throws std::system_error when a thread cannot be started.
void collectRunningLog(const std::string& dir);

}  // namespace quelmar::logutils::macos

#pragma once

#include <string>

namespace quelmar::logutils::macos {

/// Gathers what the client, its companion agents and the system have on disk about their recent running into
/// the scratch folder `dir`, and has two side collectors write their reports there, waiting at most 30
/// seconds for each once the copying is done. Every source is optional; failures are logged and the next
/// source follows. Returns early only when `dir`/logs cannot be made. Throws std::system_error when a side
/// collector's thread cannot be started.
void collectRunningLog(const std::string& dir);

}  // namespace quelmar::logutils::macos

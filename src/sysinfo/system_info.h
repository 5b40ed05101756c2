#pragma once

#include <cstdint>
#include <string>

#include "base/wait_group.h"
#include "platform/host_commands.h"

namespace quelmar::logutils::macos {

/// Writes the system information report: ten sections, each a banner and what its commands print.
/// Blocks as long as the commands take. Reports nothing: what could not be written or run is absent.
/// @param path      the report; appended to. Must hold no double quote, since the shell gets it in double
///                  quotes.
/// @param commands  the host's command lines.
void collectSystemInfo(const std::string& path, const platform::HostCommands& commands);

/// As above with this host's command lines.
void collectSystemInfo(const std::string& path);

/// The worker of a run: starts the report on a thread of its own, waits for it until `startSeconds` +
/// `limitSeconds`, logs a warning when that passed, and signs off at the group. A report that is late goes on
/// alone.
/// @param startSeconds  when the tool started, whole seconds of the steady clock.
/// @param limitSeconds  the budget counted from there.
/// @param group         gets add(-1) exactly once, as the last act.
void collectSystemInfo(const std::string& path, std::uint64_t startSeconds, std::uint64_t limitSeconds,
                       WaitGroup* group);

}  // namespace quelmar::logutils::macos

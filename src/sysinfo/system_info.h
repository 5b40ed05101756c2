#pragma once

#include <cstdint>
#include <string>

#include "base/wait_group.h"
#include "platform/host_commands.h"

namespace quelmar::logutils::macos {

/// Writes the system information report: ten sections, each a banner and the output of its commands. Blocks
/// as long as the commands take. Sections whose commands fail are empty; a report that reaches its size limit
/// is logged.
/// @param path      the report, which is appended to. It must not contain a double quote, since it is put in
///                  double quotes for the shell.
/// @param commands  the host's command lines.
void collectSystemInfo(const std::string& path, const platform::HostCommands& commands);

/// As above with this host's command lines.
void collectSystemInfo(const std::string& path);

/// The worker of a run: removes what stands at `path`, starts the report on a thread of its own, and waits
/// for it until `startSeconds` + `limitSeconds`. When that time has passed it logs a warning and returns; the
/// report then goes on in the background. Other failures are logged.
/// @param startSeconds  when the tool started, in whole seconds of the steady clock.
/// @param limitSeconds  the budget, counted from there.
/// @param group         its add(-1) is called exactly once, as the last thing.
void collectSystemInfo(const std::string& path, std::uint64_t startSeconds, std::uint64_t limitSeconds,
                       WaitGroup* group);

}  // namespace quelmar::logutils::macos

#pragma once

#include <chrono>
#include <string>

#include "platform/command.h"

namespace quelmar::logutils::macos::details {

/// Runs a command line through /bin/sh and captures what it prints on standard output (not standard error). Blocks
/// until the command's output ends and the shell has exited.
/// Thread-safe.
/// @param output  receives the captured text, at most a little over 1 MiB, or what there is memory for; what follows is
///                read and dropped. It is read in pieces of 4096 bytes into one buffer that is not cleared in between,
///                and of each piece the text up to the first zero byte is taken: after a read that is shorter than the
///                one before, the rest of the earlier text follows the new one.
/// @return true when the shell could be started, whatever the command's exit status; false otherwise (logged)
bool cmdPopen(const std::string& cmd, std::string& output);

/// As above, running `line`; `cmd` is how it appears in the log.
/// @param status  receives what Command::wait returns
bool cmdPopen(const std::string& cmd, const platform::CommandLine& line, std::string& output, int& status);

/// Runs a command line, drops what it prints, and kills it and its descendants after `limit`. Background processes of a
/// command that has ended in time keep running.
/// @return true when the shell could be started (else logged as by cmdPopen) and has exited within the limit
bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd);

}  // namespace quelmar::logutils::macos::details

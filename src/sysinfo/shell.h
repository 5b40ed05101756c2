#pragma once

#include <chrono>
#include <string>

#include "platform/command.h"

namespace quelmar::logutils::macos::details {

/// Runs a command line through /bin/sh and captures what it prints on standard output (not standard error).
/// Blocks until the command's output ends and the shell has exited.
/// @param cmd           the command line, passed to the shell unchanged.
/// @param output        receives the captured text, at most a little over 1 MiB; what follows is read and
///                      dropped. It is read in pieces of 4096 bytes into one buffer that is not cleared in
///                      between, and of each piece the text up to the first zero byte is taken: after a read
///                      that is shorter than the one before, the rest of the earlier text follows the new
///                      one.
/// @param maxFileBytes  the size that no file which the command writes can exceed.
/// @return true when the shell could be started, whatever the command's exit status; false otherwise
///         (logged).
bool cmdPopen(const std::string& cmd, std::string& output, std::uintmax_t maxFileBytes = UINTMAX_MAX);

/// As cmdPopen, but kills the command and its descendants after `limit`. Background processes of a command
/// that has ended in time keep running.
/// @return as cmdPopen; false, with an empty `output`, also when the limit has passed (not logged).
bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd, std::string& output);

/// Appends `text` to the regular file at `path`, which is created when missing; anything else at that path is
/// left unchanged. A failure is silent.
void out2File(const std::string& path, const std::string& text);

}  // namespace quelmar::logutils::macos::details

#pragma once

#include <chrono>
#include <string>

#include "platform/command.h"

namespace quelmar::logutils::macos::details {

/// Runs a command line through /bin/sh and captures what it prints on standard output (not standard error).
/// Blocks until the command's output ends and the shell has exited.
/// @param cmd     the command line, handed to the shell as it is.
/// @param output  receives the captured text. It is collected in reads of 4096 bytes into one buffer that is
///                not cleared in between, up to the first zero byte each: after a read shorter than the one
///                before, the rest of the earlier text follows the new bytes. Capture ends at 1 MiB; the
///                command is still read.
/// @param maxFileBytes  no file that the command writes may grow beyond this.
/// @return true when the shell could be started, whatever became of the command; false otherwise (logged).
bool cmdPopen(const std::string& cmd, std::string& output, std::uintmax_t maxFileBytes = UINTMAX_MAX);

/// cmdPopen for a command that nobody should wait for long: ends it and its offspring after `limit`. What it
/// has left running in the background before stays.
/// @return false also when the limit passed (nothing is logged then); `output` is empty in that case.
bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd, std::string& output);

/// Appends `text` as it is to the file at `path`, which is created when missing. A failure is silent, and
/// anything but a regular file is left alone.
void out2File(const std::string& path, const std::string& text);

}  // namespace quelmar::logutils::macos::details

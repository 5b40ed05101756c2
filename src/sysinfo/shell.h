#pragma once

#include <chrono>
#include <string>

namespace quelmar::logutils::macos::details {

/// Runs a command line through /bin/sh and captures what it prints on standard output (not standard error).
/// Blocks until the command's output ends and the shell has exited.
/// @param cmd     the command line, handed to the shell as it is.
/// @param output  receives the captured text. It is collected in reads of 4096 bytes into one buffer that
///                is not cleared in between, up to the first zero byte each: after a read shorter than the
///                one before, the rest of the earlier text follows the new bytes. Capture ends at 1 MiB;
///                the command is still read.
/// @return true when the shell could be started, whatever became of the command; false otherwise (logged).
bool cmdPopen(const std::string& cmd, std::string& output);

/// cmdPopen for a command that nobody should wait for long: gives up after `limit` and leaves the command
/// alone.
/// @return false also when the limit passed (nothing is logged then); `output` is empty in that case.
bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd, std::string& output);

/// Remembers which processes are children of this one already: a shell may have started them before it became
/// this process. endCommands leaves them alone. Call it once, before the first command.
void spareForeignChildren();

/// Ends every command that is still running, with all that it started and that still has it for an ancestor.
/// Whatever it would print has no reader any more. No command starts afterwards: a thread that tries to waits
/// for ever, so call this only right before the process ends.
void endCommands();

/// Appends `text` as it is to the file at `path`, which is created when missing. A failure is silent, and
/// anything but a regular file is left alone.
void out2File(const std::string& path, const std::string& text);

}  // namespace quelmar::logutils::macos::details

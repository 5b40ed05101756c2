#pragma once

#include <functional>

namespace quelmar {

/// Puts the process into a known state, however it was started:
/// - standard input is /dev/null, also for the commands that it will run;
/// - standard output and error are opened on /dev/null when they are closed, so that no file of the run gets
///   descriptor 1 or 2;
/// - writing to a closed pipe is an error, SIGPIPE does not end the process;
/// - SIGCHLD has its default action, even when the parent ignores it;
/// - the soft limit of open descriptors is raised to 10240, or as far as the hard limit allows;
/// - SIGHUP, SIGINT, SIGQUIT and SIGTERM, unless ignored, end the running commands, then the process.
///
/// What cannot be set up is left as it is; nothing is reported.
void prepareProcess();

/// Ends the commands that still run, flushes the log and the standard streams, and exits with `result`. No
/// destructors and no exit handlers run, so detached threads that are still in a system call, or hold a lock
/// of the C library, can neither block the exit nor crash in it.
/// @param result  the process result; a shell sees its low 8 bits
/// @param last    called right before the exit, when nothing else of the run writes to the terminal
[[noreturn]] void endProcess(int result, const std::function<void()>& last);

}  // namespace quelmar

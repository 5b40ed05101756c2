#pragma once

#include <functional>

namespace quelmar {

class Terminal;

/// Puts the process into a known state, however it was started:
/// - standard input is /dev/null, also for the commands that it will run;
/// - standard output and error are opened on /dev/null when they are closed, so that no file of the run gets descriptor
///   1 or 2;
/// - a write to a closed pipe, or over the limit of a file's size, is an error and not the end;
/// - SIGCHLD has its default action, even when the parent ignores it;
/// - the soft limit of open descriptors is raised to 10240, or as far as the hard limit allows;
/// - a signal that ends the process, unless it is ignored (nohup), or an exception that nobody catches, first ends the
///   running commands, runs the clean-up (setCleanUp; not after an exception) and tells the terminal. Ctrl-C does not
///   reach the commands, since each has a session of its own.
///
/// What cannot be set up is left as it is; nothing is reported.
/// Requires: no other thread runs yet; `terminal` lives as long as the process.
void prepareProcess(Terminal& terminal);

/// Sets what an interrupted run does before it ends, for a second at most.
/// Requires: `cleanUp` can run on another thread at any time, while the run goes on.
void setCleanUp(std::function<void()> cleanUp);

/// Ends the commands that still run, flushes the log, writes the last lines to the terminal, and exits. No destructors
/// and no exit handlers run, so detached threads that are still in a system call, or hold a lock of the C library, can
/// neither block the exit nor crash in it.
/// Requires: prepareProcess was called.
/// @param result  the process result; a shell sees its low 8 bits
[[noreturn]] void endProcess(int result);

}  // namespace quelmar

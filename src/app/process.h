#pragma once

#include <functional>

namespace quelmar {

class Terminal;

/// Puts the process into a known state, however it was started:
/// - standard input is /dev/null; standard output and error are opened on it when they are closed, so that no file of
///   the run gets descriptor 1 or 2;
/// - a write to a closed pipe, or over the limit of a file's size, is an error and not the end;
/// - SIGCHLD has its default action;
/// - the soft limit of open descriptors is raised to 10240, or as far as the hard limit allows;
/// - a signal that ends the process, unless it is ignored (nohup), or an exception that nobody catches, first ends the
///   running commands (each has a session of its own, which Ctrl-C does not reach), then runs the clean-up (not after
///   an exception) and tells the terminal.
///
/// What cannot be set up is left as it is.
/// Requires: no other thread runs yet; `terminal` lives as long as the process.
void prepareProcess(Terminal& terminal);

/// Sets what an interrupted run does before it ends, for a second at most.
/// Requires: `cleanUp` can run on another thread at any time, while the run goes on.
void setCleanUp(std::function<void()> cleanUp);

/// Ends the commands that still run, flushes the log, writes the last lines to the terminal, and exits, without
/// destructors and exit handlers: detached threads may be in a system call, or hold a lock of the C library.
/// Requires: prepareProcess was called.
/// @param result  the process result; a shell sees its low 8 bits
[[noreturn]] void endProcess(int result);

}  // namespace quelmar

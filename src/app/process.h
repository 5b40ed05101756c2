#pragma once

#include <functional>

namespace quelmar {

class Terminal;

/// Puts the process into a known state, however it was started. What cannot be set up is left as it is.
/// - standard streams that are closed are /dev/null: else a file of the run would get their number;
/// - a write to a closed pipe, or over the limit of a file's size, is an error and not the end;
/// - SIGCHLD has its default action, and the soft limit of open descriptors is 10240, or as high as it may be;
/// - a signal that ends the process, unless it is ignored (nohup), first ends the running commands, runs the clean-up
///   and tells the terminal. So does an exception that nobody catches, but without the clean-up.
///
/// Requires: no other thread runs yet; `terminal` lives as long as the process.
void prepareProcess(Terminal& terminal);

/// Sets what an interrupted run does before it ends, for a second at most.
/// Requires: `cleanUp` can run on another thread at any time, while the run goes on.
void setCleanUp(std::function<void()> cleanUp);

/// Ends the commands that still run, flushes the log, writes the last lines to the terminal, and exits, without
/// destructors and exit handlers: detached threads may be in a system call, or hold a lock of the C library.
/// Requires: prepareProcess was called. @param result  the process result; a shell sees its low 8 bits
[[noreturn]] void endProcess(int result);

}  // namespace quelmar

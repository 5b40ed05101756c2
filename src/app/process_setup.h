#pragma once

#include <functional>

namespace quelmar {

/// Puts the process into a known state whatever it was started with: standard input is /dev/null, for the
/// commands that it will run too; closed standard streams are /dev/null, so that no file of the run takes
/// their number; a reader that goes away is a write error and no signal; a parent's habit of ignoring its
/// children is not inherited; as many descriptors may be open as the host lets the process ask for, up to
/// 10240. From now on SIGHUP, SIGINT, SIGQUIT and SIGTERM end the commands as well, unless they are ignored.
void prepareProcess();

/// Ends the process at once with `result`, after ending the commands that still run and flushing the log
/// and the standard streams. Threads that are still in a system call, or hold a lock of the C library,
/// cannot hold up or crash the exit: nothing is torn down.
/// @param last  called when nothing of the run writes to the terminal any more.
[[noreturn]] void endProcess(int result, const std::function<void()>& last);

}  // namespace quelmar

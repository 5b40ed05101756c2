#pragma once

namespace quelmar {

/// Makes SIGHUP, SIGINT, SIGQUIT and SIGTERM end the running commands and tell the terminal before they end
/// the process. Ctrl-C in the terminal does not reach the commands, since each has a session of its own. A
/// thread waits for the signals, because a signal handler may call almost nothing; when it cannot be started,
/// they end this process only. A signal that the process was started to ignore (nohup) stays ignored.
///
/// To be called before any thread is started: those that follow leave the signals to that thread.
void endBySignal();

}  // namespace quelmar

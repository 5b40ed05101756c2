#pragma once

/// The terminal that standard error is connected to. The functions are async-signal-safe.
namespace quelmar::terminal {

/// Tells whether writing to the terminal now would neither block nor stop the process. It would when the
/// terminal's output is stopped (Ctrl-S), when nothing reads from it, or when it stops background jobs that
/// write (stty tostop).
bool acceptsOutput();

/// Tells whether the process is in the terminal's background.
bool runIsInBackground();

}  // namespace quelmar::terminal

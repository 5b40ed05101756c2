#pragma once

/// The terminal that standard error leads to. These functions may be called by a signal handler.
namespace quelmar::terminal {

/// Tells whether the terminal would take text now, without holding up or stopping the run: it does not when
/// its output is stopped, nobody reads it, or it stops background jobs that write.
bool takesText();

/// Tells whether the run is in the terminal's background.
bool runIsInBackground();

}  // namespace quelmar::terminal

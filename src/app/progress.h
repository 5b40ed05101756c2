#pragma once

#include <memory>
#include <string>

namespace quelmar {

/// The progress line on standard error: the elapsed seconds with the collectors that run or are done, later
/// the current step with the size of the file that it writes. It is no wider than the terminal, redrawn four
/// times a second by a thread of its own, and stands below the cursor, so that messages that commands print
/// stay readable. It is not drawn while the run is in the background. A terminal that is slow, stopped or
/// closed does not delay the run.
class Progress {
 public:
  /// Starts the thread that draws. When it cannot be started, nothing is shown.
  /// @param wanted  false shows nothing; so does a standard error that is not a terminal.
  explicit Progress(bool wanted);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { end(); }

  /// Adds a collector to the line.
  /// @return a token: the collector is shown as running until its last copy is destroyed, so its thread is to
  ///         hold it. Null when nothing is shown.
  std::shared_ptr<const void> collector(const std::string& name);

  /// Shows a step of the run in place of the collectors.
  /// @param file  a file whose current size is shown with the step; empty for none
  void step(const std::string& name, const std::string& file = "");

  /// Erases the line and the cursor's row; nothing is drawn after that. Async-signal-safe.
  static void eraseForGood();

  /// Erases the line; nothing is drawn after that. Waits at most one second for the thread.
  void end();

 private:
  struct Shared;

  std::shared_ptr<Shared> shared_;  // shared with the thread, which may block on the terminal for ever
};

}  // namespace quelmar

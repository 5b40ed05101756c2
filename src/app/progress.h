#pragma once

#include <memory>
#include <string>

namespace quelmar {

/// One line on standard error that tells a person at the terminal what a run is doing: the elapsed seconds
/// and the collectors that are done or running, later a step and the size of the file that it writes. It
/// stands below the cursor, so that short messages of others come out whole, is rewritten a few times a
/// second, no wider than the terminal, and rests while the run is in the background. It only looks: whoever
/// is shown need not know, and a terminal that is slow, stopped or gone holds up nobody.
class Progress {
 public:
  /// Starts the line on a thread of its own; without a thread there is no line.
  /// @param wanted  false shows nothing. Neither is anything shown when standard error is no terminal.
  explicit Progress(bool wanted);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() { end(); }

  /// Adds a collector to the line. It counts as running until the last copy of the result is gone: let its
  /// thread hold it. Null when nothing is shown.
  std::shared_ptr<const void> collector(const std::string& name);

  /// Shows a step of the run instead of the collectors.
  /// @param file  a file whose size so far is shown with it; none when empty.
  void step(const std::string& name, const std::string& file = "");

  /// Erases the line for good. Waits for it at most a second; nothing new is drawn once that returned.
  void end();

  /// Erases any line that is shown, for a run that ends now: somebody who interrupts it gets a prompt that is
  /// not written over the line.
  static void eraseAtOnce();

 private:
  struct Shared;

  std::shared_ptr<Shared> shared_;  // with the thread, which may be stuck in the terminal
};

}  // namespace quelmar

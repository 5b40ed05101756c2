#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "base/threads.h"

namespace quelmar {

/// What a person at the terminal sees of a run, on standard error: while main waits, a line with the seconds and what
/// is waited for, a line for each part that is done, and in the end the archive, or why there is none. Nothing when
/// standard error is no terminal; only the end when the run is in its background.
/// Thread-safe.
class Terminal {
 public:
  /// Starts the run's clock. @param wanted  false writes nothing, whatever happens
  explicit Terminal(bool wanted);

  /// Part of the run has begun, or is done. @param part  its name, as it is shown
  void begin(const std::string& part);
  void done(const std::string& part);

  /// group.wait(), showing which parts are not done.
  void wait(WaitGroup& group);

  /// Runs `work` as a part: with a terminal on another thread, while this one waits and draws.
  void run(const std::string& part, const std::function<void()>& work);

  /// Sets the archive that the last lines are about, unless there is none at `path`. @param files  how many it holds
  void setArchive(const std::string& path, std::uint64_t files);

  /// Writes the last lines. @param interrupted  whether the run was
  void showResult(bool interrupted);

 private:
  [[nodiscard]] std::string seconds() const;
  void draw();

  const bool wanted_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::mutex mutex_;                // for what follows; not held while the terminal is written to, which may take long
  std::vector<std::string> parts_;  // those that are not done
  std::string done_;                // lines of those that are, not shown yet
  bool isLineShown_ = false;
  std::string archive_;  // its path, size and files; empty when there is none
};

}  // namespace quelmar

#pragma once

#include <chrono>
#include <string>

namespace quelmar {

/// The last lines of a run on standard error: the archive's full path, then its size, the number of its files
/// and the run's duration; or that there is no archive, and where the log is. Once an object of this class
/// exists, std::abort writes them too. Nothing is written when standard error is not a terminal, or the
/// terminal accepts no output. Make one object, on the main thread.
class ResultLines {
 public:
  /// Starts the run's clock.
  /// @param wanted  false writes nothing, whatever happens.
  explicit ResultLines(bool wanted);
  ResultLines(const ResultLines&) = delete;
  ResultLines& operator=(const ResultLines&) = delete;

  /// Sets the log that is named when there is no archive.
  /// @param path  the log's path; empty when the log could not be opened.
  void log(const std::string& path);

  /// Checks whether the archive exists, for the lines of a later abnormal end too. Call it right after
  /// packing.
  /// @param path  the archive's path; a relative one is taken from the current directory
  void archive(const std::string& path);

  /// Erases the progress line and writes the line for an interrupted run: no archive, or that it is complete.
  /// Async-signal-safe.
  static void tellInterrupted();

  /// Writes the lines. Waits at most one second for a terminal that is slow or stopped.
  void show();

 private:
  [[nodiscard]] std::string describe() const;

  const bool wanted_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::string none_;
  std::string path_;
};

}  // namespace quelmar

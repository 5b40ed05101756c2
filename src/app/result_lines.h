#pragma once

#include <chrono>
#include <string>

namespace quelmar {

/// What a person at the terminal reads last, on standard error: the archive's full path, then its size, its
/// files and how long the run took; or that there is none, and where the log is. Once an object of this class
/// exists, an abnormal end says it too. Nothing is written when standard error is no terminal, or the
/// terminal does not take text. Make one, on the main thread; it only ever looks at the archive.
class ResultLines {
 public:
  /// Starts the run's clock.
  /// @param wanted  false writes nothing, whatever happens.
  explicit ResultLines(bool wanted);
  ResultLines(const ResultLines&) = delete;
  ResultLines& operator=(const ResultLines&) = delete;

  /// Names the log to look into when there is no archive.
  /// @param path  the log's path; empty when the log could not be opened.
  void log(const std::string& path);

  /// Looks whether the run's archive is there. Call it as soon as packing is over.
  /// @param path  where it should be; a relative one counts from the current directory.
  void archive(const std::string& path);

  /// Says what an interrupted run leaves. Erases the progress line before it.
  static void tellInterrupted();

  /// Writes the lines. Waits at most a second for a terminal that is slow or stopped.
  void show();

 private:
  [[nodiscard]] std::string describe() const;

  const bool wanted_;
  const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::string none_;
  std::string path_;
};

}  // namespace quelmar

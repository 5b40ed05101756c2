#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <utility>

#include "base/directories.h"

namespace quelmar::logutils::macos {
namespace details {

/// Runs a command line through /bin/sh, and waits for its end. Thread-safe.
/// @param output  receives what it prints on standard output, read in pieces of 4096 bytes, each up to its first zero
///                byte. After a piece that is shorter than the one before, the rest of the earlier text follows. Pieces
///                after the first MiB are dropped.
/// @return true when the shell could be started, whatever the command's exit status; false otherwise (logged)
bool cmdPopen(const std::string& cmd, std::string& output);

/// As platform::runCommand. @return whether the shell could be started (else logged), and has exited within the limit
bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd);

/// Appends `text` to an open report. A failure is silent.
void out2File(const Descriptor& report, const std::string& text);

/// Sets the size limit of each report, 1 GiB without a call. It is rounded down to the shell's units, and to this
/// process's own limit of file sizes. Requires: no report has been made yet.
void limitReports(std::uintmax_t bytes);

/// A report file. Commands get its descriptor, so nobody can exchange what they write to. Once it has reached its size
/// limit (logged), nothing more is appended. Not thread-safe.
class Report {
 public:
  /// Makes the file in the place of what is there, or leaves the report out (logged, unless its folder is missing).
  /// @param function  the function name in log records
  /// @param target    the path as log records show it behind each command line: quoted or not
  Report(const char* function, std::string path, std::string target);

  /// Whether the file was made. If not, what is at its path is not this run's, and must not be packed.
  [[nodiscard]] bool isMade() const { return static_cast<bool>(file_); }

  /// Appends a section's title between 34 "=" each. A failure is silent.
  void banner(const std::string& title);

  /// Runs `command`, which ends in ">> ", with the report as its target; not when the report has ended or was left out.
  /// When its folder is missing, the shell complains on standard error. @return as cmdPopen
  bool run(const std::string& command);

 private:
  /// Ends the report (logged) when `more` bytes would exceed its size limit, or a write was `cutOff` by a limit.
  /// @param text  what is named in the log as missing
  void endIfFull(std::uintmax_t more, bool cutOff, const std::string& text);

  const char* function_;
  std::string path_, target_;
  Descriptor file_;
  bool hasEnded_ = false;
};

}  // namespace details

/// Makes the system information report, empty.
std::shared_ptr<details::Report> makeSystemInfo(const std::string& path);

/// Writes the system information report on a thread of its own, and waits for it until `startSeconds` + `limit`. When
/// it is not done then (logged), it goes on in the background. Failures are logged.
/// @param startSeconds  when the tool started, in whole seconds of the steady clock
void collectSystemInfo(const std::shared_ptr<details::Report>& report, std::uint64_t startSeconds,
                       std::chrono::seconds limit);

/// Writes the endpoint-management state report, "system_state.log" in `folder`/"uem_" + `name`, which is not created.
/// Blocks as long as the commands take. Logs the start and the end of each section.
void collectSystemStateForUem(const std::string& folder, const std::string& name);

/// The local time stamps "%Y-%m-%d %H:%M:%S" of ten minutes before `now`, by the clock on the wall, and of `now`.
std::pair<std::string, std::string> wideLogSpan(std::time_t now);

/// Writes the messages of the unified log's last ten minutes that contain "quelmar" to "system_wide.log" in `folder`.
/// Blocks as long as the query takes. Logs its start and end. Requires: `folder` exists.
void collectSystemWideLog(const std::string& folder);

}  // namespace quelmar::logutils::macos

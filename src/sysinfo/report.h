#pragma once

#include <cstdint>
#include <string>

#include "base/directories.h"

namespace quelmar::logutils::macos::details {

/// The first line of a report's section: 34 "=", a blank, the title, a blank, 34 "=" and a newline.
std::string sectionBanner(const std::string& title);

/// Appends `text` to the regular file at `path`, which is created when missing; anything else at that path is
/// left unchanged. A failure is silent.
void out2File(const std::string& path, const std::string& text);

/// Removes what is not expected at a report's path, or at that of its directory, as
/// utilities::removeUnexpected does.
/// @param function  the function name in the record of a failure
/// @return true when the report may be written; false (logged) when it must be left out
bool claimReport(const char* function, const std::string& path,
                 utilities::Expected expected = utilities::Expected::kFile);

/// Sets the size limit of each report, in bytes; without a call it is 1 GiB. To be called before the first
/// report is begun.
void limitReports(std::uintmax_t bytes);

/// A report file, to which section banners and the output of commands are appended. Once it has reached its
/// size limit (logged), nothing more is appended.
class Report {
 public:
  /// @param function  the function name in log records
  /// @param path      the report's file
  /// @param target    the path as it is appended to each command line: quoted or not
  Report(const char* function, std::string path, std::string target);

  /// Tells whether the size limit was reached.
  [[nodiscard]] bool hasEnded() const { return hasEnded_; }

  /// Appends a section's banner. A failure is silent.
  void banner(const std::string& title);

  /// Runs `command` + target in the shell, which appends the command's output to the report.
  /// @return cmdPopen's result; false also when the report has ended or must be left out
  bool run(const std::string& command);

 private:
  /// Ends the report (logged) when `more` bytes would exceed its size limit.
  /// @param text  what is named in the log as missing
  void endIfFull(std::uintmax_t more, const std::string& text);

  const char* function_;
  std::string path_;
  std::string target_;
  bool hasEnded_ = false;
};

}  // namespace quelmar::logutils::macos::details

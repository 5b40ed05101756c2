#pragma once

#include <cstdint>
#include <string>

#include "base/directories.h"

namespace quelmar::logutils::macos::details {

/// The first line of a report's section: 34 "=", a blank, the title, a blank, 34 "=" and a newline.
std::string sectionBanner(const std::string& title);

/// Tells whether a report may be written to `path`, or into it when a directory is wanted there: see
/// utilities::removeUnexpected. When not, that it is left out is logged under the name `function`.
bool claimReport(const char* function, const std::string& path,
                 utilities::Expected expected = utilities::Expected::kFile);

/// Sets how large each report may grow, in bytes; 1 GiB if this is never called. To be called before the
/// first one begins.
void limitReports(std::uintmax_t bytes);

/// A report that banners and commands' outputs are appended to. It ends when it has reached its limit, with a
/// record of the log: what was written stays, what would follow is left out.
class Report {
 public:
  /// @param function  the function that the record is to name
  /// @param path      the report's file
  /// @param target    the path as it follows on every command line
  Report(const char* function, std::string path, std::string target);

  [[nodiscard]] bool hasEnded() const { return hasEnded_; }

  void banner(const std::string& title);

  /// Runs `command` + target, which lets the shell append the command's output. @return cmdPopen's result
  bool run(const std::string& command);

 private:
  /// Ends the report when `more` bytes do not go into it any more.
  void endIfFull(std::uintmax_t more, const std::string& text);

  const char* function_;
  std::string path_;
  std::string target_;
  bool hasEnded_ = false;
};

}  // namespace quelmar::logutils::macos::details

#pragma once

#include <regex>
#include <sstream>
#include <string>

#include "logging/logger.h"
#include "support/temp_dir.h"

namespace testing_support {

/// Sends the tool's log into a file of the test's own.
class LogCapture {
 public:
  explicit LogCapture(quelmar::Level level = quelmar::kInfo) {
    quelmar::LoggerOptions options;
    options.logFile = (dir_ / "test.log").string();
    options.level = level;
    options.maxFileBytes = 1 << 20;  // of many files that a fuzzer fills
    options.debugSwitch = (dir_ / "debug").string();
    quelmar::Logger::GetInstance().setOptions(options);
  }

  /// What was logged so far: "[level] [LogCollectionTool:function] message" a line, without time, thread and
  /// line.
  [[nodiscard]] std::string text() const {
    quelmar::Logger::GetInstance().flush();
    std::istringstream lines(readFile(dir_ / "test.log"));
    std::string all;
    for (std::string line; std::getline(lines, line);) {
      std::smatch parts;
      const bool isRecord = std::regex_match(
          line, parts, std::regex(R"(\[[^\]]*\] (\[\w+\]) \[\d+\] (\[\w+:[^:]+):\d+(\] .*))"));
      all += (isRecord ? parts.str(1) + " " + parts.str(2) + parts.str(3) : line) + "\n";
    }
    return all;
  }

  [[nodiscard]] const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
};

}  // namespace testing_support

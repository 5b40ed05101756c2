#pragma once

#include <regex>
#include <string>

#include "logging/logger.h"
#include "support/temp_dir.h"

namespace testing_support {

/// Sends the tool's log into a file of the test's own.
class LogCapture {
 public:
  explicit LogCapture(quelmar::Level level = quelmar::kInfo) {
    quelmar::LoggerOptions options;
    options.logFile = file().string();
    options.level = level;
    options.debugSwitch = (dir_ / "debug").string();
    quelmar::Logger::GetInstance().setOptions(options);
  }

  [[nodiscard]] fs::path file() const { return dir_ / "test.log"; }

  /// What was logged so far: "[level] [LogCollectionTool:function] message" a line.
  [[nodiscard]] std::string text() const {
    quelmar::Logger::GetInstance().flush();
    static const std::regex record(R"(\[[^\]]*\] (\[\w+\]) \[\d+\] (\[\w+:[^:]+):\d+\])");
    return std::regex_replace(readFile(file()), record, "$1 $2]");
  }

 private:
  TempDir dir_;
};

}  // namespace testing_support

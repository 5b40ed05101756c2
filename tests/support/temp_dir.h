#pragma once

#include <fstream>
#include <regex>
#include <string>

#include <boost/filesystem/operations.hpp>

#include "logging/logger.h"

namespace testing_support {

namespace fs = boost::filesystem;

/// A folder of its own for a test, removed with everything in it afterwards.
class TempDir {
 public:
  TempDir() : path_(fs::temp_directory_path() / fs::unique_path("logcollect-%%%%%%%%")) {
    fs::create_directories(path_);
  }
  ~TempDir() { fs::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] fs::path operator/(const std::string& name) const { return path_ / name; }
  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

inline fs::path writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path.string(), std::ios::binary) << content;
  return path;
}

inline std::string readFile(const fs::path& path) {
  std::ifstream stream(path.string(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

/// Sends the tool's log into the file "test.log" of a folder of its own. Debugging is switched on by a file.
struct LogCapture : TempDir {
  explicit LogCapture(int level = quelmar::kInfo) {
    quelmar::LoggerOptions options;
    options.logFile = (*this / "test.log").string();
    options.level = level == quelmar::kDebug ? quelmar::kInfo : level;
    if (level == quelmar::kDebug) writeFile(*this / "debug", "");
    options.debugSwitch = (*this / "debug").string();
    quelmar::Logger::GetInstance().setOptions(options);
  }

  /// What was logged so far: "[level] [LogCollectionTool:function] message" a line.
  [[nodiscard]] std::string text() const {
    quelmar::Logger::GetInstance().flush();
    static const std::regex record(R"(\[[^\]]*\] (\[\w+\]) \[\d+\] (\[\w+:[^:]+):\d+\])");
    return std::regex_replace(readFile(*this / "test.log"), record, "$1 $2]");
  }
};

}  // namespace testing_support

#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>

namespace spdlog {
class logger;
}

namespace quelmar {

/// Levels of a log call: spdlog's numbering, and one value above it.
enum Level : int {
  kTrace = 0,
  kDebug = 1,
  kInfo = 2,
  kWarn = 3,
  kErr = 4,
  kCritical = 5,
  kOff = 6,
  kDump = 7,  ///< reaches the file as info whatever the minimum level, and is never cut
};

/// The logger's configuration.
struct LoggerOptions {
  std::string logFile = "oBrela.log";      ///< the log file's path
  std::int32_t level = kInfo;              ///< minimum level
  std::int64_t maxFileBytes = 20'971'520;  ///< cap of the file; it is rotated when a line would exceed it
  std::int32_t firstCount = 1;             ///< rotated files kept beside the current one
  std::int32_t secondCount = 256;  ///< carried for other readers of this record; one file sink needs no more
  std::string debugSwitch = "debug";  ///< when a file of this name exists at set-up, the level becomes debug
};

/// Creates a log file's folder when it is missing, and removes what stands at the file's path unless it is a
/// regular file with a single link: every user may be able to write to that folder.
/// @return no error when a log may be opened there
std::error_code claimLog(const std::string& file);

/// The process-wide logger behind all log calls. Never destroyed, since detached threads may log while the
/// process ends. Thread-safe, except for setOptions, which is to be called once, before other threads start.
class Logger {
 public:
  /// The single logger.
  static Logger& GetInstance();
  /// The same, never null.
  static Logger* GetInstancePtr() { return &GetInstance(); }

  using Context = std::function<std::string()>;

  /// Opens the log file (see claimLog), to which log calls are written from then on. A file that is nearly
  /// full is rotated before; when that fails (logged), it is appended to, without a cap. Throws
  /// spdlog::spdlog_ex when the file cannot be opened; options() are the new ones then too, but log calls go
  /// where they went before.
  void setOptions(LoggerOptions& options);

  /// The options of the last setOptions call; the defaults before the first one.
  [[nodiscard]] const LoggerOptions& options() const { return options_; }

  /// Logs one line: the source location, then `format` ("{}" syntax, checked at run time) filled with `args`.
  /// Before setOptions has succeeded the message goes to standard error. Throws fmt::format_error when format
  /// and arguments do not match, and whatever the sink throws: call it through LOG_CALL, which catches.
  template <typename... Args>
  void log(int level, const char* file, const char* function, int line, fmt::string_view format,
           const Args&... args) {
    logWithCtx(level, file, function, line, Context(), format, args...);
  }

  /// As log; the text that `context` returns, when it is set, is appended to the line.
  template <typename... Args>
  void logWithCtx(int level, const char* file, const char* function, int line, const Context& context,
                  fmt::string_view format, const Args&... args) {
    write(level, file, function, line, context, format, fmt::make_format_args(args...));
  }

  /// Builds the text of a line: "[file:function:line] message".
  static std::string GetFmt(const char* file, const char* function, int line, fmt::string_view message);

  /// Hands all buffered lines to the operating system.
  void flush();

 private:
  Logger() = default;

  void write(int level, const char* file, const char* function, int line, const Context& context,
             fmt::string_view format, fmt::format_args args);

  LoggerOptions options_;
  std::atomic<int> minimumLevel_{kInfo};
  std::atomic<spdlog::logger*> sink_{nullptr};
  /// All loggers ever set: another thread may still use one that was replaced.
  std::vector<std::shared_ptr<spdlog::logger>> sinks_;
};

}  // namespace quelmar

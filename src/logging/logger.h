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

/// Makes a log file's folder when it is missing, and removes what stands at the file's name unless it is a
/// plain file: the folder may be open to everybody.
/// @return why no log may be opened there
std::error_code claimLog(const std::string& file);

/// The process-wide logger behind all log calls. Created once and never destroyed: detached threads may log
/// while the process ends. Thread-safe, except that setOptions is meant to be called once, before other
/// threads start.
class Logger {
 public:
  /// The single logger.
  static Logger& GetInstance();
  /// The same, never null.
  static Logger* GetInstancePtr() { return &GetInstance(); }

  using Context = std::function<std::string()>;

  /// Opens the log file, see claimLog, and takes calls from now on. A file that is nearly full is put away
  /// before; when that fails, it is opened all the same and without a cap (logged). Throws spdlog::spdlog_ex
  /// when the file cannot be had; the logger then stays as it was, but keeps the options.
  void setOptions(LoggerOptions& options);

  /// The options last handed in (the defaults before that).
  [[nodiscard]] const LoggerOptions& options() const { return options_; }

  /// Logs one line: `format` ("{}" syntax, checked at run time) filled with `args`, behind its source
  /// location. Before setOptions has succeeded the message goes to standard error. Throws fmt::format_error
  /// when format and arguments do not fit, and whatever the sink throws: call through LOG_CALL, which lets
  /// nothing out.
  template <typename... Args>
  void log(int level, const char* file, const char* function, int line, fmt::string_view format,
           const Args&... args) {
    logWithCtx(level, file, function, line, Context(), format, args...);
  }

  /// As log; `context`, when set, is called for a text that is appended to the line.
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
  /// Every logger there was: one that was replaced may still be in use by another thread.
  std::vector<std::shared_ptr<spdlog::logger>> sinks_;
};

}  // namespace quelmar

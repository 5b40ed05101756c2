#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "base/directories.h"

namespace spdlog {
class logger;
}

namespace quelmar {

/// The file name in every log record of this tool.
inline constexpr const char* kFileTag = "LogCollectionTool";

/// Levels of a log call: spdlog's numbering, and one value above it. kDump reaches the file as info whatever the
/// minimum level, and is never cut.
enum LogLevel : int { kTrace, kDebug, kInfo, kWarn, kErr, kCritical, kOff, kDump };

struct LoggerOptions {
  std::string logFile = "oBrela.log";      ///< the log file's path
  std::int32_t level = kInfo;              ///< minimum level
  std::int64_t maxFileBytes = 20'971'520;  ///< a line that would exceed it begins a new file
  std::int32_t firstCount = 1;             ///< files kept beside the current one: always one
  std::int32_t secondCount = 256;          ///< carried for other readers of this record; one file needs no more
  std::string debugSwitch = "debug";       ///< when a file of this name exists at set-up, the level becomes debug
};

/// Writes to standard output or standard error, for a second at most: nobody may be reading there. Once it could not,
/// only what can be written at once. Thread-safe.
void tell(int descriptor, std::string_view text);

/// The text with its control bytes, which names of files may hold, shown as "\xNN".
std::string printable(std::string_view text);

/// The process-wide logger behind all log calls. Never destroyed, since detached threads may log until the end.
/// Thread-safe, except setOptions: to be called before other threads start.
class Logger {
 public:
  static Logger& GetInstance();
  static Logger* GetInstancePtr() { return &GetInstance(); }

  using Context = std::function<std::string()>;

  /// Opens the log file, to which log calls are written from then on. One that is nearly full is put away before; when
  /// that fails (logged), it has no cap. Throws std::system_error when it cannot be opened (logged): log calls go where
  /// they went before then.
  void setOptions(LoggerOptions& options);

  /// The options of the last setOptions call; the defaults before the first one.
  [[nodiscard]] const LoggerOptions& options() const { return options_; }

  /// The open log; -1 when there is none. Log calls move its offset: read it with pread.
  [[nodiscard]] int descriptor() const { return descriptor_; }

  /// Logs one line: the source location, then `format` ("{}" syntax, checked at run time) filled with `args`, made
  /// printable except for kDump. Before setOptions has succeeded the message goes to standard error.
  /// Throws when format and arguments do not match, and what the sink throws: call it through LOG_CALL, which catches.
  template <typename... Args>
  void log(int level, const char* file, const char* function, int line, fmt::string_view format, const Args&... args) {
    logWithCtx(level, file, function, line, Context(), format, args...);
  }

  /// As log; what `context` returns, when it is set, is appended to the line.
  template <typename... Args>
  void logWithCtx(int level, const char* file, const char* function, int line, const Context& context,
                  fmt::string_view format, const Args&... args) {
    write(level, file, function, line, context, format, fmt::make_format_args(args...));
  }

  /// Builds the text of a line: "[file:function:line] message".
  static std::string GetFmt(const char* file, const char* function, int line, fmt::string_view message);

  /// Hands buffered lines to the operating system. (There are none: each is written at once.)
  void flush();

 private:
  Logger() = default;

  void write(int level, const char* file, const char* function, int line, const Context& context,
             fmt::string_view format, fmt::format_args args);

  LoggerOptions options_;
  std::atomic<int> minimumLevel_{kInfo};
  std::atomic<int> descriptor_{-1};
  std::shared_ptr<spdlog::logger> sink_;  // read and set as one: log calls may run while it is replaced
};

/// Sets up the tool's own log: finds its folder, creates the file and configures the logger. Writes progress to
/// standard output and failures to standard error.
/// @param name  the log's name; ".log" is appended unless the name contains it anywhere
/// @return true when log calls now reach the file; false for an empty name, after any exception, or
///         when it takes longer than ten seconds, as in a home that does not answer; it goes on in the background then
bool initLogName(const std::string& name);

/// Writes to standard error why a log call has failed. Requires: an exception is being handled.
void reportLoggerFailure(const char* function, int line) noexcept;

/// Logger::log, but exceptions only become a line on standard error.
template <typename... Args>
void guardedLog(int level, const char* function, int line, fmt::string_view format, const Args&... args) noexcept try {
  Logger::GetInstancePtr()->log(level, kFileTag, function, line, format, args...);
} catch (...) {
  reportLoggerFailure(function, line);
}

/// LOG_CALL(level, format, args...): a log record with the calling function's plain name ("operator()" inside a
/// lambda), or with another one, and the line of the call. Never throws.
#define LOG_CALL(level, ...) LOG_CALL_AS(__func__, level, __VA_ARGS__)
#define LOG_CALL_AS(function, level, ...) ::quelmar::guardedLog(level, function, __LINE__, __VA_ARGS__)

/// Logs what could not be collected of one source, without flooding the log: for each error number the first loss with
/// its path, and in the end how many others there were. Not thread-safe; only the constructor throws.
class Losses {
 public:
  /// @param function  the function name in the records; must outlive the object
  /// @param source    the name of the source in the records that count
  Losses(const char* function, std::string source) : function_(function), source_(std::move(source)) {}
  Losses(const Losses&) = delete;
  ~Losses() {
    for (std::size_t number = 0; number < counts_.size(); ++number) {
      if (counts_[number] > 1) {
        log(kWarn, std::error_code(static_cast<int>(number), std::generic_category()),
            "{} more of {} lost; Reason: code:{} msg:{}", counts_[number] - 1, source_);
      }
    }
  }

  /// Logs a loss, or only counts it when one with the same error number was logged before.
  /// @param format  has placeholders for `args`, then for the number and the text of `ec`
  template <typename... Args>
  void tell(LogLevel level, const std::error_code& ec, fmt::string_view format, const Args&... args) noexcept {
    const auto number = static_cast<std::size_t>(ec.value());
    if (counts_[number < counts_.size() ? number : 0]++ == 0) log(level, ec, format, args...);
  }

 private:
  template <typename... Args>
  void log(LogLevel level, const std::error_code& ec, fmt::string_view format, const Args&... args) noexcept try {
    LOG_CALL_AS(function_, level, format, args..., ec.value(), ec.message());
  } catch (...) {  // no memory for the text
    reportLoggerFailure(function_, __LINE__);
  }

  const char* function_;
  const std::string source_;
  std::array<std::uint64_t, 256> counts_{};  // by error number: all systems' are below
};

}  // namespace quelmar

#pragma once

#include <exception>

#include <spdlog/common.h>

#include "logging/logger.h"

namespace quelmar {

/// The file name in every log record of this tool.
inline constexpr const char* kFileTag = "LogCollectionTool";

namespace logging_detail {

/// Write what a failed log call leaves on standard error, one line each, by the kind of its exception.
void reportLoggerFailure(const char* function, int line, const spdlog::spdlog_ex& failure) noexcept;
void reportLoggerFailure(const char* function, int line, const std::exception& failure) noexcept;
void reportLoggerFailure() noexcept;

/// Logger::log that catches every exception and reports it on standard error, so that logging cannot end a
/// run.
template <typename... Args>
void guardedLog(int level, const char* function, int line, fmt::string_view format,
                const Args&... args) noexcept {
  try {
    Logger::GetInstancePtr()->log(level, kFileTag, function, line, format, args...);
  } catch (const spdlog::spdlog_ex& failure) {
    reportLoggerFailure(function, line, failure);
  } catch (const std::exception& failure) {
    reportLoggerFailure(function, line, failure);
  } catch (...) {
    reportLoggerFailure();
  }
}

}  // namespace logging_detail
}  // namespace quelmar

/// LOG_CALL(level, format, args...): one log record with the calling function's plain name ("operator()"
/// inside a lambda) and the line of the call. Never throws, see guardedLog.
#define LOG_CALL(level, ...) LOG_CALL_AS(__func__, level, __VA_ARGS__)

/// As LOG_CALL, with another function's name in the record.
#define LOG_CALL_AS(function, level, ...) \
  ::quelmar::logging_detail::guardedLog(level, function, __LINE__, __VA_ARGS__)

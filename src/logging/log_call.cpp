#include "logging/log_call.h"

#include <cstdio>

namespace quelmar::logging_detail {

// The misspelt words are kept on purpose: support staff search for them.

void reportLoggerFailure(const char* function, int line, const spdlog::spdlog_ex& failure) noexcept {
  std::fprintf(stderr, "sdplog exception[%s:%s:%d]: %s\n", kFileTag, function, line, failure.what());
}

void reportLoggerFailure(const char* function, int line, const std::exception& failure) noexcept {
  std::fprintf(stderr, "[%s:%s:%d]: %s\n", kFileTag, function, line, failure.what());
}

void reportLoggerFailure() noexcept {
  std::fputs("Unknown excepiton When logger\n", stderr);
}

}  // namespace quelmar::logging_detail

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "logging/logger.h"

namespace quelmar {

/// Logs what could not be collected of one source, without flooding the log: for each error number the first loss with
/// its path, and the number of the others when the object is destroyed. Not thread-safe; only the constructor throws.
class Losses {
 public:
  /// @param function  the function name in the records; must outlive the object
  /// @param source    the source's name in the records that count the further losses
  Losses(const char* function, std::string source) : function_(function), source_(std::move(source)) {}
  Losses(const Losses&) = delete;
  Losses& operator=(const Losses&) = delete;
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
  void log(LogLevel level, const std::error_code& ec, fmt::string_view format, const Args&... args) noexcept {
    try {
      LOG_CALL_AS(function_, level, format, args..., ec.value(), ec.message());
    } catch (...) {  // no memory for the text
      reportLoggerFailure(function_, __LINE__);
    }
  }

  const char* function_;
  std::string source_;
  std::array<std::uint64_t, 256> counts_{};  // by error number: all systems' are below
};

}  // namespace quelmar

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "logging/log_call.h"

namespace quelmar {

/// Tells in the log what is lost of one source without filling it: for each error number the first loss
/// whole, and how many more there were when the object goes. Not thread-safe; never throws once it is made.
class Losses {
 public:
  /// @param function  what the records name as their function; must outlive the object
  /// @param source    what the records name as the place of the further losses
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

  /// Logs a loss, or counts it when one with the same error number was logged before.
  /// @param format  takes `args` (the path among them) and behind them the number and the text of `ec`
  template <typename... Args>
  void tell(Level level, const std::error_code& ec, fmt::string_view format, const Args&... args) noexcept {
    const auto number = static_cast<std::size_t>(ec.value());
    if (counts_[number < counts_.size() ? number : 0]++ == 0) log(level, ec, format, args...);
  }

 private:
  template <typename... Args>
  void log(Level level, const std::error_code& ec, fmt::string_view format, const Args&... args) noexcept {
    try {
      LOG_CALL_AS(function_, level, format, args..., ec.value(), ec.message());
    } catch (const std::exception& failure) {  // no memory for the text
      logging_detail::reportLoggerFailure(function_, __LINE__, failure);
    }
  }

  const char* function_;
  std::string source_;
  std::array<std::uint64_t, 256> counts_{};  // by error number: all systems' are below
};

}  // namespace quelmar

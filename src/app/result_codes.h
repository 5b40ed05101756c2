#pragma once

#include <string>
#include <system_error>

namespace quelmar {

/// Process results. A shell sees their low 8 bits: 0, 161, 163.
constexpr int kResultSuccess = 0;
constexpr int kResultNoOutputRoot = 22116001;
constexpr int kResultDiskFull = 22116003;

/// The error category of collection outcomes.
class _collection_category : public std::error_category {
 public:
  /// The single instance, made on first use.
  static const _collection_category& instance();

  /// "collection_category".
  [[nodiscard]] const char* name() const noexcept override;

  /// The message of a code from 0 to 4; "unknown error, error code is not defined" for all others.
  [[nodiscard]] std::string message(int code) const override;
};

/// The single instance.
const std::error_category& collection_category();

}  // namespace quelmar

#pragma once

#include <iterator>
#include <string>
#include <system_error>

namespace quelmar {

/// Process results. A shell sees their low 8 bits: 0, 161, 163.
constexpr int kResultSuccess = 0;
constexpr int kResultNoOutputRoot = 22116001;
constexpr int kResultDiskFull = 22116003;

class _collection_category : public std::error_category {
 public:
  static const _collection_category& instance() {
    static const _collection_category kInstance;
    return kInstance;
  }

  [[nodiscard]] const char* name() const noexcept override { return "collection_category"; }

  /// The message of a code from 0 to 4; "unknown error, error code is not defined" for all others.
  [[nodiscard]] std::string message(int code) const override {
    constexpr const char* kMessages[] = {"collect logs success", "specific exception", "unknown exception",
                                         "rpc with obrela tunnel disconnected", "http status != 200"};
    const auto index = static_cast<std::size_t>(code);
    return index < std::size(kMessages) ? kMessages[index] : "unknown error, error code is not defined";
  }
};

inline const std::error_category& collection_category() {
  return _collection_category::instance();
}

}  // namespace quelmar

#pragma once

#include <functional>
#include <utility>

namespace quelmar {

/// Runs a clean-up action in its destructor, unless it was dismissed. The action must be set and must not
/// throw: either would end the process.
class ScopeGuard {
 public:
  explicit ScopeGuard(std::function<void()> action) : action_(std::move(action)) {}
  ~ScopeGuard() {
    if (!dismissed_) action_();
  }
  ScopeGuard(const ScopeGuard&) = delete;
  ScopeGuard& operator=(const ScopeGuard&) = delete;

  /// Makes the destructor do nothing.
  void dismiss() noexcept { dismissed_ = true; }

 private:
  std::function<void()> action_;
  bool dismissed_ = false;
};

}  // namespace quelmar

#pragma once

#include <functional>
#include <utility>

namespace quelmar {

/// Runs a clean-up action when it goes out of scope, unless it was dismissed. The action must be set and must
/// not throw: the guard runs it in its destructor, where either ends the process.
class ScopeGuard {
 public:
  explicit ScopeGuard(std::function<void()> action) : action_(std::move(action)) {}
  ~ScopeGuard() {
    if (!dismissed_) action_();
  }
  ScopeGuard(const ScopeGuard&) = delete;
  ScopeGuard& operator=(const ScopeGuard&) = delete;

  /// Calls the action off.
  void dismiss() noexcept { dismissed_ = true; }

 private:
  std::function<void()> action_;
  bool dismissed_ = false;
};

}  // namespace quelmar

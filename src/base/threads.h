#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <utility>

namespace quelmar {

/// Counts running workers: add 1 before each one starts, which adds -1 as the last thing that it does. Thread-safe.
/// Requires: it outlives every worker's last call.
class WaitGroup {
 public:
  /// Adds `delta` to the count and wakes all waiters when the new count is 0 or less.
  void add(int delta);

  /// Blocks while the count is above 0; with a limit, for that at most. @return true when the count is 0 or less
  void wait();
  bool wait(std::chrono::milliseconds limit);

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  std::int32_t count_ = 0;
};

/// The process-wide only-key flag (--onlyKey). Requires: written before other threads start.
class SharedInst {
 public:
  static bool& inst() {
    static bool onlyKey = false;
    return onlyKey;
  }
};

/// Runs a clean-up action in its destructor, unless it was dismissed.
/// Requires: the action is set and does not throw; else the process ends.
class ScopeGuard {
 public:
  explicit ScopeGuard(std::function<void()> action) : action_(std::move(action)) {}
  ~ScopeGuard() {
    if (!dismissed_) action_();
  }
  ScopeGuard(const ScopeGuard&) = delete;

  void dismiss() noexcept { dismissed_ = true; }

 private:
  const std::function<void()> action_;
  bool dismissed_ = false;
};

/// Starts `work` on a detached thread. Throws std::system_error when the thread cannot be started.
/// Requires: the work owns, or shares the ownership of, everything that it uses.
/// @param onFailure  called on that thread with the exception's text when `work` throws
/// @return becomes ready when the work has ended
std::future<void> startDetached(
    std::function<void()> work, std::function<void(const char* reason)> onFailure = [](const char*) {});

/// Starts `work` as above and waits for its end. An exception that it throws is dropped.
/// @return whether it ended within `limit`; false also when no thread could be started
bool runWithin(std::chrono::seconds limit, std::function<void()> work);

/// As runWithin, but waits until the work has not called beat() for `limit`. Runs it on the calling thread when no
/// other can be started. @param onFailure  as for startDetached
bool runWhileMoving(std::chrono::seconds limit, const std::function<void()>& work,
                    std::function<void(const char* reason)> onFailure);

/// Tells runWhileMoving that its work goes on. Throws std::system_error, so that it ends, when nobody waits any more.
void beat();

/// The steady clock in whole seconds, rounded down.
std::uint64_t steadySeconds();

}  // namespace quelmar

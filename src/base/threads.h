#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <future>
#include <mutex>
#include <utility>

namespace quelmar {

/// Counts running workers. Add 1 before each worker starts; the worker adds -1 as the last thing that it does. Must
/// outlive every worker's last call. Thread-safe.
class WaitGroup {
 public:
  /// Adds `delta` to the count and wakes all waiters when the new count is 0 or less.
  void add(int delta);

  /// Blocks, without a time-out, while the count is above 0.
  void wait();

  /// As wait, for `limit` at most. @return true when the count is 0 or less
  bool wait(std::chrono::milliseconds limit);

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  std::int32_t count_ = 0;
};

/// The process-wide only-key flag (--onlyKey). Written once before the workers start and only read afterwards, so it
/// needs no lock.
class SharedInst {
 public:
  static bool& inst() {
    static bool onlyKey = false;
    return onlyKey;
  }
};

/// Runs a clean-up action in its destructor, unless it was dismissed.
/// Requires: the action is set and does not throw; either would end the process.
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

/// Starts `work` on a detached thread, which may outlive whoever started it.
/// Requires: the work owns, or shares the ownership of, everything that it uses.
/// Throws std::system_error when the thread cannot be started.
/// @param onFailure  called on that thread with the exception's text when `work` throws
/// @return becomes ready when the work has ended
std::future<void> startDetached(
    std::function<void()> work, std::function<void(const char* reason)> onFailure = [](const char*) {});

/// As startDetached, and waits at most `limit` for the end of the work, which goes on in the background then. An
/// exception that it throws is dropped.
/// @return whether the work ended in time; false also when no thread could be started
bool runWithin(std::chrono::seconds limit, std::function<void()> work);

/// As runWithin, but the work may take as long as it likes while it calls beat(): it is given up when it has not done
/// so for `limit`. Runs on the calling thread when no other can be started.
/// @param onFailure  called on the work's thread with the exception's text when it throws
/// @return true when the work has ended
bool runWhileMoving(std::chrono::seconds limit, const std::function<void()>& work,
                    std::function<void(const char* reason)> onFailure);

/// Tells runWhileMoving that its work goes on; has no effect elsewhere.
/// Throws std::system_error when the work was given up, so that it ends then.
void beat();

/// The steady clock in whole seconds, rounded down.
std::uint64_t steadySeconds();

}  // namespace quelmar

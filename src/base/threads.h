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

/// Runs work on a detached thread, which may outlive whoever started it.
/// Requires: the work owns, or shares the ownership of, everything that it uses.
class DetachedCall {
 public:
  /// Starts the thread. Throws std::system_error when it cannot be started.
  /// @param onFailure  called on that thread with the exception's text when `work` throws
  explicit DetachedCall(
      std::function<void()> work, std::function<void(const char* reason)> onFailure = [](const char*) {});

  /// Waits until the work has ended or `deadline` has passed. @return ready or timeout
  [[nodiscard]] std::future_status await(std::chrono::steady_clock::time_point deadline) const {
    return ended_.wait_until(deadline);
  }

 private:
  std::future<bool> ended_;
};

/// Runs `work` as a DetachedCall and waits at most `limit` for its end. Work that takes longer goes on in the
/// background; an exception that it throws is dropped.
/// @return true when the work ended in time; false on a time-out or when no thread could be started.
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

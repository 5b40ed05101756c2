#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>

namespace quelmar::utilities {

/// Work on a thread of its own, which nobody joins: it may outlive whoever started it, so it must own or
/// share whatever it touches.
class DetachedCall {
 public:
  /// Starts the thread. Throws std::system_error when it cannot be started.
  /// @param onFailure  called on that thread with the reason when an exception comes out of `work`
  explicit DetachedCall(
      std::function<void()> work, std::function<void(const char* reason)> onFailure = [](const char*) {});

  /// Waits for the work's end until `deadline`. @return timeout or ready
  [[nodiscard]] std::future_status await(std::chrono::steady_clock::time_point deadline) const {
    return ended_.wait_until(deadline);
  }

 private:
  std::future<bool> ended_;
};

/// Runs `work` as a DetachedCall and waits for it, on the steady clock, at most `limit`. Work that takes
/// longer goes on alone; an exception out of it is dropped.
/// @return true when the work ended in time; false on a time-out or when no thread could be started.
bool runWithin(std::chrono::seconds limit, std::function<void()> work);

/// The steady clock in whole seconds, cut off.
std::uint64_t steadySeconds();

}  // namespace quelmar::utilities

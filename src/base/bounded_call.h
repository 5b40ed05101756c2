#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>

namespace quelmar::utilities {

/// Runs work on a detached thread. The thread may outlive whoever started it, so the work must own, or share
/// the ownership of, everything that it uses.
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

/// The steady clock in whole seconds, rounded down.
std::uint64_t steadySeconds();

}  // namespace quelmar::utilities

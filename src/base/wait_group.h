#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace quelmar {

/// Counts running workers. Add 1 before each worker starts; the worker adds -1 as the last thing that it
/// does. Thread-safe; must outlive every worker's last call.
class WaitGroup {
 public:
  /// Adds `delta` to the count and wakes all waiters when the new count is 0 or less.
  void add(int delta);

  /// Blocks, without a time-out, while the count is above 0.
  void wait();

 private:
  std::mutex mutex_;
  std::condition_variable done_;
  std::int32_t count_ = 0;
};

}  // namespace quelmar

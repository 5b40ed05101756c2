#include "base/wait_group.h"

namespace quelmar {

void WaitGroup::add(int delta) {
  // Notify while holding the mutex: a waiter may destroy the group as soon as it returns.
  const std::lock_guard<std::mutex> lock(mutex_);
  count_ += delta;
  if (count_ <= 0) done_.notify_all();
}

void WaitGroup::wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  done_.wait(lock, [this] { return count_ <= 0; });
}

}  // namespace quelmar

#include "base/wait_group.h"

namespace quelmar {

void WaitGroup::add(int delta) {
  // Notified under the mutex: a waiter that returns may destroy the group at once.
  const std::lock_guard<std::mutex> lock(mutex_);
  count_ += delta;
  if (count_ <= 0) done_.notify_all();
}

void WaitGroup::wait() {
  std::unique_lock<std::mutex> lock(mutex_);
  done_.wait(lock, [this] { return count_ <= 0; });
}

}  // namespace quelmar

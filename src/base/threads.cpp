#include "base/threads.h"

#include <atomic>
#include <exception>
#include <memory>
#include <system_error>
#include <thread>

namespace quelmar {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kLook{1};  // how often it is looked whether work goes on

struct Watched {
  std::atomic<std::uint64_t> beats{0};
  std::atomic<bool> isGivenUp{false};
};

thread_local Watched* watched = nullptr;

}  // namespace

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

bool WaitGroup::wait(std::chrono::milliseconds limit) {
  std::unique_lock<std::mutex> lock(mutex_);
  return done_.wait_for(lock, limit, [this] { return count_ <= 0; });
}

std::future<void> startDetached(std::function<void()> work, std::function<void(const char* reason)> onFailure) {
  std::promise<void> done;
  std::future<void> ended = done.get_future();
  std::thread([work = std::move(work), onFailure = std::move(onFailure), done = std::move(done)]() mutable {
    try {
      work();
    } catch (const std::exception& failure) {
      onFailure(failure.what());
    } catch (...) {
      onFailure("unknown");
    }
    done.set_value();
  }).detach();
  return ended;
}

bool runWithin(std::chrono::seconds limit, std::function<void()> work) {
  try {
    return startDetached(std::move(work)).wait_for(limit) == std::future_status::ready;
  } catch (const std::system_error&) {
    return false;
  }
}

bool runWhileMoving(std::chrono::seconds limit, const std::function<void()>& work,
                    std::function<void(const char* reason)> onFailure) {
  const auto state = std::make_shared<Watched>();
  const auto watchedWork = [state, work] {
    watched = state.get();
    work();
  };
  std::future<void> ended;
  try {
    ended = startDetached(watchedWork, std::move(onFailure));
  } catch (const std::system_error&) {
    work();
    return true;
  }
  std::uint64_t beats = 0;
  for (auto moved = steady_clock::now(); steady_clock::now() < moved + limit;) {
    if (ended.wait_for(kLook) == std::future_status::ready) return true;
    if (beats != state->beats) moved = steady_clock::now();
    beats = state->beats;
  }
  state->isGivenUp = true;
  return false;
}

void beat() {
  if (watched == nullptr) return;
  if (watched->isGivenUp) throw std::system_error(std::make_error_code(std::errc::timed_out));
  ++watched->beats;
}

std::uint64_t steadySeconds() {
  const auto now = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now().time_since_epoch());
  return static_cast<std::uint64_t>(now.count());
}

}  // namespace quelmar

#include "base/bounded_call.h"

#include <exception>
#include <system_error>
#include <thread>
#include <utility>

namespace quelmar::utilities {

using std::chrono::steady_clock;

DetachedCall::DetachedCall(std::function<void()> work, std::function<void(const char* reason)> onFailure) {
  std::promise<bool> done;
  ended_ = done.get_future();
  std::thread([work = std::move(work), onFailure = std::move(onFailure), done = std::move(done)]() mutable {
    try {
      work();
    } catch (const std::exception& failure) {
      onFailure(failure.what());
    } catch (...) {
      onFailure("unknown");
    }
    done.set_value(true);
  }).detach();
}

bool runWithin(std::chrono::seconds limit, std::function<void()> work) {
  try {
    return DetachedCall(std::move(work)).await(steady_clock::now() + limit) == std::future_status::ready;
  } catch (const std::system_error&) {
    return false;
  }
}

std::uint64_t steadySeconds() {
  const auto now = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now().time_since_epoch());
  return static_cast<std::uint64_t>(now.count());
}

}  // namespace quelmar::utilities

#include "base/bounded_call.h"

#include <future>
#include <memory>
#include <system_error>
#include <thread>
#include <utility>

namespace quelmar::utilities {

bool runWithin(std::chrono::seconds limit, std::function<void()> work) {
  const auto done = std::make_shared<std::promise<bool>>();
  std::future<bool> ended = done->get_future();
  try {
    std::thread([done, work = std::move(work)] {
      try {
        work();
      } catch (...) {  // NOLINT(bugprone-empty-catch): whoever waits sees only whether it ended
      }
      done->set_value(true);
    }).detach();
  } catch (const std::system_error&) {
    return false;
  }
  return ended.wait_until(std::chrono::steady_clock::now() + limit) == std::future_status::ready;
}

}  // namespace quelmar::utilities

#include "base/file_size_limit.h"

#include <csignal>
#include <mutex>

#include <sys/resource.h>

namespace quelmar::utilities {
namespace {

std::mutex mutex;
bool limited = false;
rlim_t before = RLIM_INFINITY;  // the limit that the process was started with

bool setSoftLimit(rlim_t bytes) {
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0) return false;
  limit.rlim_cur = bytes;
  return setrlimit(RLIMIT_FSIZE, &limit) == 0;
}

}  // namespace

void limitFileSize(std::uint64_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex);
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) != 0 || bytes >= limit.rlim_cur) return;
  // A handler that does nothing, rather than ignoring: commands get the default back, and end.
  struct sigaction action {};
  action.sa_handler = [](int) {};
  action.sa_flags = SA_RESTART;
  sigaction(SIGXFSZ, &action, nullptr);
  if (!limited) before = limit.rlim_cur;
  limited = setSoftLimit(static_cast<rlim_t>(bytes)) || limited;
}

void liftFileSizeLimitFor(std::uint64_t bytes) {
  const std::lock_guard<std::mutex> lock(mutex);
  rlimit limit{};
  if (!limited || getrlimit(RLIMIT_FSIZE, &limit) != 0 || bytes <= limit.rlim_cur) return;
  limited = !setSoftLimit(before);
}

}  // namespace quelmar::utilities

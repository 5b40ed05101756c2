#include "app/progress.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <unistd.h>

namespace quelmar {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRedraw{250};
constexpr std::chrono::seconds kEndLimit{1};
constexpr std::size_t kUsualColumns = 80;
constexpr double kMiB = 1024.0 * 1024.0;
// To the end of the screen, not of the row: a terminal that was narrowed has broken the line into several.
constexpr char kErase[] = "\x1b[J";
// Below the cursor and an empty row, so that two rows of other messages find room until the line is redrawn.
constexpr char kDown[] = "\n\n";
constexpr char kBack[] = "\r\x1b[2A";

struct Collector {
  std::string name;
  std::weak_ptr<const void> running;
};

/// What there is to be seen.
struct View {
  std::vector<Collector> collectors;
  std::string step;
  std::string file;
};

std::atomic<bool> shownBelowCursor{false};

/// Tells whether the terminal is the run's to write to and would take text now: it does not while the run is
/// in the background, its output is stopped or nobody reads it.
bool takesText() {
  const pid_t foreground = tcgetpgrp(STDERR_FILENO);
  if (foreground > 0 && foreground != getpgrp()) return false;
  fd_set descriptors;
  FD_ZERO(&descriptors);
  FD_SET(STDERR_FILENO, &descriptors);
  timeval now{};
  // Not poll, which knows no terminals on some hosts.
  return select(STDERR_FILENO + 1, nullptr, &descriptors, nullptr, &now) == 1;
}

bool understandsEscapes() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && *terminal != '\0' && std::string(terminal) != "dumb";
}

/// The columns that a line may take without being broken.
std::size_t columns() {
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (known ? size.ws_col : kUsualColumns) - 1;
}

/// The same news in ever fewer words.
std::vector<std::string> describe(const View& view) {
  if (!view.step.empty()) {
    struct stat info {};
    if (view.file.empty() || stat(view.file.c_str(), &info) != 0) return {view.step};
    const std::string size = fmt::format("{:.1f} MiB", static_cast<double>(info.st_size) / kMiB);
    return {fmt::format("{}, {} so far", view.step, size), size};
  }
  std::string all;
  std::string waitingFor;
  std::size_t done = 0;
  for (const Collector& collector : view.collectors) {
    const bool running = !collector.running.expired();
    all += fmt::format("{}{}: {}", all.empty() ? "" : ", ", collector.name, running ? "running" : "done");
    if (running) waitingFor += (waitingFor.empty() ? "waiting for " : ", ") + collector.name;
    if (!running) ++done;
  }
  return {all, waitingFor, fmt::format("{} of {} done", done, view.collectors.size())};
}

class Line {
 public:
  /// @return false when the terminal is gone.
  bool draw(const View& view) {
    const auto elapsed = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start_);
    const std::string time = fmt::format("{} s", elapsed.count());
    const std::size_t width = columns();
    std::string text = time.size() <= width ? time : "";
    for (const std::string& words : describe(view)) {
      if (time.size() + 2 + words.size() > width) continue;
      text += "  " + words;
      break;
    }
    return rewrite(text, width);
  }

  void erase() { rewrite("", columns()); }

 private:
  bool rewrite(const std::string& text, std::size_t width) {
    if ((text.empty() && length_ == 0) || !takesText()) return true;
    std::string output = kErase;
    if (!escapes_) {
      output = "\r" + text + std::string(std::max(std::min(length_, width), text.size()) - text.size(), ' ') +
               "\r";
    } else if (!text.empty()) {
      output += kDown + text + kBack;
    }
    length_ = text.size();
    shownBelowCursor = escapes_ && !text.empty();
    return write(STDERR_FILENO, output.data(), output.size()) >= 0 || errno == EINTR || errno == EAGAIN;
  }

  const steady_clock::time_point start_ = steady_clock::now();
  const bool escapes_ = understandsEscapes();
  std::size_t length_ = 0;
};

}  // namespace

struct Progress::Shared {
  std::mutex mutex;
  std::condition_variable changed;
  View view;
  bool ending = false;
  bool ended = false;

  void run() {
    Line line;
    std::unique_lock<std::mutex> lock(mutex);
    bool terminalIsThere = true;
    while (terminalIsThere && !changed.wait_for(lock, kRedraw, [this] { return ending; })) {
      const View copy = view;
      lock.unlock();  // the disk and the terminal may take their time
      terminalIsThere = line.draw(copy);
      lock.lock();
    }
    lock.unlock();
    if (terminalIsThere) line.erase();
    lock.lock();
    ended = true;
    changed.notify_all();
  }
};

Progress::Progress(bool wanted) {
  if (!wanted || isatty(STDERR_FILENO) == 0) return;
  const auto shared = std::make_shared<Shared>();
  try {
    std::thread([shared] {
      try {
        shared->run();
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): the run goes on without the line
      }
    }).detach();
  } catch (const std::system_error&) {
    return;
  }
  shared_ = shared;
}

std::shared_ptr<const void> Progress::collector(const std::string& name) {
  if (!shared_) return nullptr;
  auto token = std::make_shared<char>();
  const std::lock_guard<std::mutex> lock(shared_->mutex);
  shared_->view.collectors.push_back({name, token});
  return token;
}

void Progress::step(const std::string& name, const std::string& file) {
  if (!shared_) return;
  const std::lock_guard<std::mutex> lock(shared_->mutex);
  shared_->view.step = name;
  shared_->view.file = file;
}

void Progress::end() {
  if (!shared_) return;
  std::unique_lock<std::mutex> lock(shared_->mutex);
  shared_->ending = true;
  shared_->changed.notify_all();
  shared_->changed.wait_for(lock, kEndLimit, [this] { return shared_->ended; });
}

void Progress::eraseAtOnce() {
  if (shownBelowCursor && takesText()) static_cast<void>(!write(STDERR_FILENO, kErase, sizeof(kErase) - 1));
}

}  // namespace quelmar

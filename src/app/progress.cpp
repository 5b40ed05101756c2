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
#include <sys/stat.h>
#include <unistd.h>

#include "app/terminal.h"

namespace quelmar {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::milliseconds kRedraw{250};
constexpr std::chrono::seconds kEndLimit{1};
constexpr std::size_t kUsualColumns = 80;
constexpr double kMiB = 1024.0 * 1024.0;
// Erases to the end of the screen, not of the row: a terminal that was narrowed shows the line in several
// rows.
constexpr char kErase[] = "\x1b[J";
// The line stands two rows below the cursor, so that two rows of other messages fit in before it is redrawn.
constexpr char kDown[] = "\n\n";
constexpr char kBack[] = "\r\x1b[2A";

struct Collector {
  std::string name;
  std::weak_ptr<const void> running;
};

/// What the line shows.
struct View {
  std::vector<Collector> collectors;
  std::string step;
  std::string file;
};

// What the terminal shows of the line; eraseForGood() reads it, in a signal handler too.
std::atomic<std::size_t> shownLength{0};
std::atomic<bool> shownBelowCursor{false};
std::atomic<bool> erasedForGood{false};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<std::size_t>::is_always_lock_free,
              "used by a signal handler");

bool understandsEscapes() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && *terminal != '\0' && std::string(terminal) != "dumb";
}

/// The longest line, in columns, that the terminal does not wrap.
std::size_t columns() {
  winsize size{};
  const bool known = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (known ? size.ws_col : kUsualColumns) - 1;
}

/// The text of the line in several versions, longest first: the first one that fits the terminal is shown.
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
    const std::size_t length = shownLength;
    if ((text.empty() && length == 0) || terminal::runIsInBackground() || !terminal::acceptsOutput() ||
        erasedForGood) {
      return true;
    }
    std::string output = kErase;
    if (!escapes_) {
      output =
          "\r" + text + std::string(std::max(std::min(length, width), text.size()) - text.size(), ' ') + "\r";
    } else if (!text.empty()) {
      output += kDown + text + kBack;
    }
    shownLength = text.size();
    shownBelowCursor = escapes_;
    return write(STDERR_FILENO, output.data(), output.size()) >= 0 || errno == EINTR || errno == EAGAIN;
  }

  const steady_clock::time_point start_ = steady_clock::now();
  const bool escapes_ = understandsEscapes();
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
      lock.unlock();  // the file system or the terminal may block
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

void Progress::eraseForGood() {
  erasedForGood = true;
  std::size_t blanks = shownBelowCursor ? 0 : shownLength.load();
  // From the first column on, to overwrite the "^C" that the terminal echoes.
  bool written = write(STDERR_FILENO, "\r", 1) == 1;
  if (shownBelowCursor) written = write(STDERR_FILENO, kErase, sizeof(kErase) - 1) > 0;
  while (written && blanks-- > 0) written = write(STDERR_FILENO, " ", 1) == 1;
  static_cast<void>(!write(STDERR_FILENO, "\r", 1));
}

Progress::Progress(bool wanted) {
  if (!wanted || isatty(STDERR_FILENO) == 0) return;
  const auto shared = std::make_shared<Shared>();
  try {
    std::thread([shared] {
      try {
        shared->run();
      } catch (const std::exception&) {  // NOLINT(bugprone-empty-catch): go on without the line
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

}  // namespace quelmar

#include "app/result_lines.h"

#include <atomic>
#include <csignal>
#include <utility>

#include <boost/filesystem/operations.hpp>
#include <fmt/format.h>
#include <unistd.h>

#include "app/progress.h"
#include "app/terminal.h"
#include "base/bounded_call.h"
#include "zipper/entry_count.h"

namespace fs = boost::filesystem;

namespace quelmar {
namespace {

constexpr std::chrono::seconds kWriteLimit{1};
constexpr double kMiB = 1024.0 * 1024.0;

/// The texts for an abnormal end. Never freed, since a signal handler may be reading them; `before` keeps
/// older ones reachable, so that no leak checker reports them.
struct Texts {
  std::string ended;
  std::string interrupted;
  const Texts* before;
};

/// The texts that a signal handler would write now.
std::atomic<const Texts*> current{nullptr};
static_assert(std::atomic<const Texts*>::is_always_lock_free, "read by a signal handler");

void setTexts(std::string ended, std::string interrupted) {
  current = new Texts{std::move(ended), std::move(interrupted), current};
}

void write(const std::string& text) {
  static_cast<void>(!::write(STDERR_FILENO, text.data(), text.size()));
}

/// Writes one of the current texts. Async-signal-safe.
void tell(std::string Texts::*which) {
  const Texts* const texts = current;
  if (texts == nullptr || !terminal::acceptsOutput()) return;
  // While the run is in the background, the cursor's row belongs to another program.
  if (!terminal::runIsInBackground()) Progress::eraseForGood();
  write(texts->*which);
}

void tellAtAbort() {
  struct sigaction action {};
  action.sa_handler = [](int) { tell(&Texts::ended); };  // the process ends when it returns
  action.sa_flags = static_cast<int>(SA_RESETHAND);
  sigaction(SIGABRT, &action, nullptr);
}

}  // namespace

ResultLines::ResultLines(bool wanted) : wanted_(wanted && isatty(STDERR_FILENO) != 0) {
  log("");
  if (wanted_) tellAtAbort();
}

void ResultLines::log(const std::string& path) {
  none_ = path.empty() ? "no archive, and no log either: what is above is all there is\n"
                       : fmt::format("no archive; the log is {}\n", path);
  if (wanted_) setTexts(none_, "interrupted; no archive\n");
}

void ResultLines::archive(const std::string& path) {
  if (!wanted_) return;
  boost::system::error_code ec;
  path_ = fs::path(path).is_absolute() ? path : (fs::current_path(ec) / path).string();
  const std::string text = describe();
  if (text != none_) setTexts(text, "interrupted; the archive is complete\n" + text);
}

void ResultLines::tellInterrupted() {
  tell(&Texts::interrupted);
}

void ResultLines::show() {
  if (!wanted_) return;
  utilities::runWithin(kWriteLimit, [text = describe()] {
    if (terminal::acceptsOutput()) write(text);
  });
}

std::string ResultLines::describe() const {
  boost::system::error_code ec;
  if (!fs::is_regular_file(fs::symlink_status(path_, ec))) return none_;
  const auto bytes = static_cast<double>(fs::file_size(path_, ec));
  const auto entries = zipper::entryCount(path_);
  if (ec || !entries) return none_;
  const auto seconds =
      std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start_).count();
  return fmt::format("{}\n{:.1f} MiB, {} files, {} s\n", path_, bytes / kMiB, *entries, seconds);
}

}  // namespace quelmar

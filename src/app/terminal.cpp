#include "app/terminal.h"

#include <algorithm>
#include <cstdlib>
#include <future>
#include <utility>

#include <boost/algorithm/string/join.hpp>
#include <boost/filesystem/operations.hpp>
#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "logging/logger.h"

namespace quelmar {
namespace {

constexpr std::chrono::milliseconds kRedraw{250};
constexpr std::size_t kUsualColumns = 80;
constexpr double kMiB = 1024.0 * 1024.0;
constexpr const char* kErase = "\r\x1b[K";

bool understandsEscapes() {
  const char* const terminal = std::getenv("TERM");
  return terminal != nullptr && *terminal != '\0' && std::string(terminal) != "dumb";
}

/// The cursor's row is another program's then.
bool isInBackground() {
  const pid_t foreground = tcgetpgrp(STDERR_FILENO);
  return foreground > 0 && foreground != getpgrp();
}

/// The longest line, in columns, that the terminal does not wrap.
std::size_t columns() {
  winsize size{};
  const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return (isKnown ? size.ws_col : kUsualColumns) - 1;
}

}  // namespace

Terminal::Terminal(bool wanted) : wanted_(wanted && isatty(STDERR_FILENO) != 0) {}

std::string Terminal::seconds() const {
  const auto duration = std::chrono::steady_clock::now() - start_;
  return std::to_string(std::chrono::duration_cast<std::chrono::seconds>(duration).count()) + " s";
}

void Terminal::begin(const std::string& part) {
  const std::lock_guard<std::mutex> lock(mutex_);
  parts_.push_back(part);
}

void Terminal::done(const std::string& part) {
  const std::lock_guard<std::mutex> lock(mutex_);
  parts_.erase(std::find(parts_.begin(), parts_.end(), part));
  done_ += fmt::format("{}  {} done\n", seconds(), part);
}

void Terminal::wait(WaitGroup& group) {
  if (!wanted_) return group.wait();
  while (!group.wait(kRedraw)) draw();
  draw();
}

void Terminal::run(const std::string& part, const std::function<void()>& work) {
  if (!wanted_) return work();
  begin(part);
  // Deferred is for a system that has no thread to spare: get() runs the work then.
  auto result = std::async(std::launch::async | std::launch::deferred, work);
  while (result.wait_for(kRedraw) == std::future_status::timeout) draw();
  result.get();
  done(part);
  draw();
}

void Terminal::setArchive(const std::string& path, std::uint64_t files) {
  boost::system::error_code ec;
  const auto bytes = static_cast<double>(fs::file_size(path, ec));
  if (ec) return;
  const std::string whole = fs::system_complete(path, ec).string();
  const std::lock_guard<std::mutex> lock(mutex_);
  archive_ = fmt::format("{}\n{:.1f} MiB, {} files", printable(whole), bytes / kMiB, files);
}

void Terminal::draw() {
  if (isInBackground()) return;
  std::unique_lock<std::mutex> lock(mutex_);
  std::string text = (isLineShown_ ? kErase : "") + std::exchange(done_, "");
  isLineShown_ = understandsEscapes() && !parts_.empty();
  if (isLineShown_) {
    const std::string line = seconds() + "  waiting for " + boost::algorithm::join(parts_, ", ");
    text += line.substr(0, columns()) + "\r";  // what others write begins in the first column
  }
  lock.unlock();
  tell(STDERR_FILENO, text);
}

void Terminal::showResult(bool interrupted) {
  // Not waited for: when memory has run out, this may be called by a thread that has the lock.
  const std::unique_lock<std::mutex> lock(mutex_, std::try_to_lock);
  if (!wanted_ || !lock) return;
  std::string text = isInBackground() ? "" : isLineShown_ ? kErase : "\r";  // also erases the "^C" shown
  if (interrupted) text += archive_.empty() ? "interrupted; no archive\n" : "interrupted; the archive is complete\n";
  const Logger& logger = Logger::GetInstance();
  if (!archive_.empty()) {
    text += archive_ + ", " + seconds() + "\n";
  } else if (!interrupted && logger.descriptor() >= 0) {
    text += "no archive; the log is " + printable(logger.options().logFile) + "\n";
  } else if (!interrupted) {
    text += "no archive, and no log either: what is above is all there is\n";
  }
  tell(STDERR_FILENO, text);
}

}  // namespace quelmar

#include "sysinfo/shell.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/bounded_call.h"
#include "base/scope_guard.h"
#include "logging/log_call.h"
#include "platform/child_processes.h"

namespace quelmar::logutils::macos::details {
namespace {

constexpr std::size_t kReadBytes = 4096;
constexpr std::size_t kMaxCapturedBytes = 1024 * 1024;
constexpr std::chrono::seconds kStartLimit{1};

/// Held while a command is being started. Never destroyed: detached threads start commands to the last.
std::timed_mutex& startMutex() {
  static auto* const kMutex = new std::timed_mutex;
  return *kMutex;
}

FILE* startCommand(const std::string& cmd) {
  const std::lock_guard<std::timed_mutex> lock(startMutex());
  return popen(cmd.c_str(), "r");
}

/// Processes that were children of this one before it ran its first command. Never destroyed, as above.
std::vector<pid_t>& foreignChildren() {
  static auto* const kChildren = new std::vector<pid_t>;
  return *kChildren;
}

std::vector<pid_t> ownCommands() {
  const std::vector<pid_t>& foreign = foreignChildren();
  std::vector<pid_t> children = platform::childrenOf({getpid()});
  const auto isForeign = [&](pid_t child) {
    return std::find(foreign.begin(), foreign.end(), child) != foreign.end();
  };
  children.erase(std::remove_if(children.begin(), children.end(), isForeign), children.end());
  return children;
}

/// Stopped level by level before any is ended: a process that is stopped starts no others and does not go, so
/// its children are its own.
void endDescendants() {
  std::vector<pid_t> all;
  for (std::vector<pid_t> level = ownCommands(); !level.empty(); level = platform::childrenOf(level)) {
    for (const pid_t process : level) kill(process, SIGSTOP);
    all.insert(all.end(), level.begin(), level.end());
  }
  for (const pid_t process : all) kill(process, SIGKILL);
}

}  // namespace

bool cmdPopen(const std::string& cmd, std::string& output) {
  output.clear();
  FILE* stream = nullptr;
  const ScopeGuard closeStream([&stream] {
    if (stream == nullptr) return;
    pclose(stream);
    stream = nullptr;
    // A command that was ended because the process ends: its caller is not to write anything any more. This
    // waits for ever then.
    const std::lock_guard<std::timed_mutex> unlessEnding(startMutex());
  });
  // One byte more than is ever read: the text always ends in a zero byte.
  std::array<char, kReadBytes + 1> buffer{};

  stream = startCommand(cmd);
  if (stream == nullptr) {
    const int error = errno;
    LOG_CALL(kErr, "popen(cmd) fail,cmd:{}; Reason: errorno:{},msg:{}", cmd, error, std::strerror(error));
    return false;
  }
  // The buffer keeps its old bytes between reads, and they are appended again: kept on purpose, readers of
  // the captured texts know it.
  while (std::fread(buffer.data(), 1, kReadBytes, stream) > 0) {
    if (output.size() < kMaxCapturedBytes) output += buffer.data();
  }
  return true;
}

bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd, std::string& output) {
  struct Outcome {
    bool started = false;
    std::string text;
  };
  output.clear();
  const auto outcome = std::make_shared<Outcome>();
  const bool ended =
      utilities::runWithin(limit, [outcome, cmd] { outcome->started = cmdPopen(cmd, outcome->text); });
  if (!ended) return false;
  output = std::move(outcome->text);
  return outcome->started;
}

void spareForeignChildren() {
  foreignChildren() = platform::childrenOf({getpid()});
}

void endCommands() {
  // Never given back. A start that does not come to its end must not hold up the process's own.
  static_cast<void>(startMutex().try_lock_for(kStartLimit));
  endDescendants();
}

void out2File(const std::string& path, const std::string& text) {
  // Opened by descriptor first: a pipe or a link that somebody left at the path must neither block nor be
  // followed.
  const int fd =
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  if (fd < 0) return;
  struct stat info {};
  FILE* file = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) ? fdopen(fd, "a") : nullptr;
  if (file == nullptr) {
    close(fd);
    return;
  }
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
}

}  // namespace quelmar::logutils::macos::details

#include "platform/command.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <new>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "platform/processes.h"

extern "C" char** environ;

namespace quelmar::platform {
namespace {

constexpr std::chrono::seconds kStartLimit{1};

/// What all commands share. Never destroyed: detached threads start commands to the last.
struct Shared {
  std::mutex mutex;
  std::condition_variable started;
  std::size_t starting = 0;
  bool isEnding = false;
  /// The shells, each its session's leader. A shell is reaped, under the mutex, when it goes from this list,
  /// and never once the end has begun: no number in it can be another process's.
  std::vector<pid_t> leaders;
};

Shared& shared() {
  static auto* const kShared = new Shared;
  return *kShared;
}

/// Locks; once the end has begun it stops this thread for ever, whose caller is to write and log nothing more.
std::unique_lock<std::mutex> lockUnlessEnding() {
  std::unique_lock<std::mutex> lock(shared().mutex);
  if (!shared().isEnding) return lock;
  lock.unlock();
  while (true) pause();
}

/// Ends these shells' sessions and what else descends from them. All are stopped before any is ended: a
/// process that is stopped starts no others and does not go. The groups of the shells are reached at once; the
/// table of processes is for offspring that made a group or a session of its own.
void endSessions(const std::vector<pid_t>& leaders) {
  for (const pid_t leader : leaders) kill(-leader, SIGSTOP);
  std::vector<pid_t> found = leaders;
  const auto isIn = [](const std::vector<pid_t>& some, pid_t process) {
    return std::find(some.begin(), some.end(), process) != some.end();
  };
  try {
    for (std::size_t before = 0; before != found.size();) {
      before = found.size();
      for (const Process& one : processes()) {
        if (isIn(found, one.pid) || !(isIn(found, one.parent) || isIn(leaders, getsid(one.pid)))) continue;
        kill(one.pid, SIGSTOP);
        found.push_back(one.pid);
      }
    }
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): those that are known end all the same
  }
  for (const pid_t leader : leaders) kill(-leader, SIGKILL);
  for (const pid_t process : found) kill(process, SIGKILL);
}

int spawnShell(std::string line, int output, pid_t& pid) {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  if (const int error = posix_spawn_file_actions_init(&actions)) return error;
  int error = posix_spawnattr_init(&attributes);
  if (error == 0) {
    // A session, not only a group: in the terminal's own session, a group that is not in the foreground may be
    // stopped when it writes to the terminal.
    short flags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
    sigset_t signals;
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes, &signals);
    sigfillset(&signals);
    for (const int fixed : {SIGKILL, SIGSTOP}) sigdelset(&signals, fixed);
    posix_spawnattr_setsigdefault(&attributes, &signals);
    error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (error == 0) error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (error == 0) error = handOnNothingElse(actions, flags);
    if (error == 0) error = posix_spawnattr_setflags(&attributes, flags);
    char shell[] = "sh", option[] = "-c";
    char* const arguments[] = {shell, option, line.data(), nullptr};
    if (error == 0) error = posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
  }
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

int Command::start(const std::string& line, std::uintmax_t maxFileBytes) {
  rlimit present{};
  const bool isLimited = getrlimit(RLIMIT_FSIZE, &present) == 0 && maxFileBytes < present.rlim_cur;
  const std::string limit = "ulimit -S -f " + std::to_string(maxFileBytes / kShellBlockBytes) + "; ";
  const std::string text = isLimited ? limit + line : line;
  int ends[2];
  if (pipe(ends) != 0) return errno;
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  output_ = utilities::Descriptor(ends[0]);
  const utilities::Descriptor input(ends[1]);

  auto lock = lockUnlessEnding();
  shared().leaders.reserve(shared().leaders.size() + shared().starting + 1);
  ++shared().starting;
  lock.unlock();
  pid_t pid = -1;
  const int error = spawnShell(text, input.get(), pid);
  lock.lock();
  --shared().starting;
  if (error == 0) {
    shared().leaders.push_back(pid_ = pid);
    if (isEnded_ || shared().isEnding) endSessions({pid});
  }
  shared().started.notify_all();
  lock.unlock();
  lockUnlessEnding();
  return error;
}

std::size_t Command::read(char* buffer, std::size_t size) {
  std::size_t length = 0;
  while (length < size) {
    const ssize_t got = ::read(output_.get(), buffer + length, size - length);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    length += static_cast<std::size_t>(got);
  }
  return length;
}

bool Command::wait(bool sparesOthers) {
  output_ = utilities::Descriptor();
  siginfo_t info{};
  while (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  const auto lock = lockUnlessEnding();
  if (!sparesOthers) kill(-pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  auto& leaders = shared().leaders;
  leaders.erase(std::find(leaders.begin(), leaders.end(), pid_));
  pid_ = -1;
  return info.si_code == CLD_EXITED && info.si_status == 0;
}

void Command::end() {
  const std::lock_guard<std::mutex> lock(shared().mutex);
  isEnded_ = true;
  if (pid_ > 0) endSessions({pid_});
}

void endCommands() {
  std::unique_lock<std::mutex> lock(shared().mutex);
  shared().isEnding = true;
  // A start that does not come to its end must not hold up the process's own.
  shared().started.wait_for(lock, kStartLimit, [] { return shared().starting == 0; });
  if (!shared().leaders.empty()) endSessions(shared().leaders);
}

}  // namespace quelmar::platform

#include "platform/command.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "platform/processes.h"

extern "C" char** environ;

namespace quelmar::platform {
namespace {

/// The shells that run, each the leader of a session. A shell is reaped and removed from this list under the
/// mutex, so no number in the list can belong to another process. Never destroyed, since detached threads
/// start commands while the process ends.
struct Leaders {
  std::mutex mutex;
  std::vector<pid_t> pids;
};

Leaders& leaders() {
  static auto* const kLeaders = new Leaders;
  return *kLeaders;
}

/// Locks the mutex, or gives up after a second: a start that hangs while it holds the mutex must not keep the
/// process from ending.
std::unique_lock<std::mutex> tryLock() {
  std::unique_lock<std::mutex> lock(leaders().mutex, std::try_to_lock);
  for (int tries = 0; !lock && tries < 100; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    static_cast<void>(lock.try_lock());
  }
  return lock;
}

/// Kills these shells, all processes in their sessions, and all descendants. All are stopped first: a stopped
/// process can neither start others nor exit, so none is missed. A shell's process group gets its signals at
/// once; the table of processes shows the descendants that have made a group or a session of their own.
void endSessions(const std::vector<pid_t>& shells) {
  for (const pid_t shell : shells) kill(-shell, SIGSTOP);
  std::vector<pid_t> found = shells;
  const auto isIn = [](const std::vector<pid_t>& some, pid_t process) {
    return std::find(some.begin(), some.end(), process) != some.end();
  };
  try {
    for (std::size_t before = 0; before != found.size();) {
      before = found.size();
      for (const Process& one : processes()) {
        if (isIn(found, one.pid) || !(isIn(found, one.parent) || isIn(shells, getsid(one.pid)))) continue;
        kill(one.pid, SIGSTOP);
        found.push_back(one.pid);
      }
    }
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): kill those found so far
  }
  for (const pid_t shell : shells) kill(-shell, SIGKILL);
  for (const pid_t process : found) kill(process, SIGKILL);
}

int spawnShell(std::string line, int output, pid_t& pid) {
  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
  // A session of its own, not only a group: a background group of the terminal's session may be stopped when
  // it writes to the terminal.
  short flags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  for (const int fixed : {SIGKILL, SIGSTOP}) sigdelset(&all, fixed);
  int error = posix_spawn_file_actions_init(&actions);
  if (error == 0) error = posix_spawnattr_init(&attributes);
  if (error == 0) error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (error == 0) error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  if (error == 0) error = closeOtherDescriptors(actions, flags);
  if (error == 0) error = posix_spawnattr_setsigmask(&attributes, &none);
  if (error == 0) error = posix_spawnattr_setsigdefault(&attributes, &all);
  if (error == 0) error = posix_spawnattr_setflags(&attributes, flags);
  char shell[] = "sh", option[] = "-c";
  char* const arguments[] = {shell, option, line.data(), nullptr};
  if (error == 0) error = posix_spawn(&pid, "/bin/sh", &actions, &attributes, arguments, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

int Command::start(const std::string& line, std::uintmax_t maxFileBytes) {
  rlimit present{};
  std::string limit;
  if (getrlimit(RLIMIT_FSIZE, &present) == 0 && maxFileBytes < present.rlim_cur)
    limit = "ulimit -S -f " + std::to_string(maxFileBytes / kShellBlockBytes) + "; ";
  int ends[2];
  if (pipe(ends) != 0) return errno;
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  output_ = utilities::Descriptor(ends[0]);
  const utilities::Descriptor input(ends[1]);
  const std::lock_guard<std::mutex> lock(leaders().mutex);
  leaders().pids.reserve(leaders().pids.size() + 1);
  const int error = spawnShell(limit + line, input.get(), pid_);
  if (error == 0) leaders().pids.push_back(pid_);
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

bool Command::wait(bool keepBackground) {
  output_ = utilities::Descriptor();
  siginfo_t info{};
  while (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  // After endCommands this blocks for ever, so that callers neither write nor log anything about a command
  // that was killed because the process ends.
  const std::lock_guard<std::mutex> lock(leaders().mutex);
  if (!keepBackground) kill(-pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  leaders().pids.erase(std::find(leaders().pids.begin(), leaders().pids.end(), std::exchange(pid_, -1)));
  return info.si_code == CLD_EXITED && info.si_status == 0;
}

void Command::end() {
  const auto lock = tryLock();
  if (lock && pid_ > 0) endSessions({pid_});
}

void endCommands() {
  auto lock = tryLock();
  if (!lock) return;
  if (!leaders().pids.empty()) endSessions(leaders().pids);
  lock.release();  // never given back
}

}  // namespace quelmar::platform

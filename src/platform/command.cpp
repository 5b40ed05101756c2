#include "platform/command.h"

#include <csignal>
#include <mutex>
#include <new>
#include <set>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/directories.h"
#include "base/threads.h"
#include "platform/host.h"

extern "C" char** environ;

namespace quelmar::platform {
namespace {

constexpr std::chrono::milliseconds kPause{10};
constexpr int kMaxPauses = 100;

/// The commands of this process. Never destroyed, since detached threads start commands while it ends.
struct Commands {
  /// Not held while a command is started, which an endpoint agent can delay, nor while one is waited for. A shell is
  /// reaped and removed from the set under it, so no number in the set can belong to another process.
  std::mutex mutex;
  std::set<pid_t> shells;  ///< that run, each the leader of a session
  int starting = 0;
  bool haveEnded = false;
};

Commands& commands() {
  static auto* const kCommands = new Commands;
  return *kCommands;
}

/// Locks the mutex. After endCommands it blocks for ever.
std::unique_lock<std::mutex> lockUntilEnd() {
  std::unique_lock<std::mutex> lock(commands().mutex);
  if (commands().haveEnded) lock.unlock();
  while (!lock) pause();
  return lock;
}

/// Kills these shells, all processes in their sessions, and all descendants, also those that have made a session of
/// their own. All are stopped first: a stopped process can neither start others nor exit, so none is missed.
/// @param withChildren  kill also children of this process that lead a session: a shell whose start is not done is one.
///                      (Whoever started this process may have left it other children.)
void endSessions(const std::set<pid_t>& shells, bool withChildren) {
  std::set<pid_t> found;
  try {
    for (bool isMore = withChildren || !shells.empty(); isMore;) {
      isMore = false;
      for (const Process& one : processes()) {
        const pid_t session = getsid(one.pid);
        const bool isNewShell = withChildren && one.parent == getpid() && session == one.pid;
        if (!isNewShell && found.count(one.parent) == 0 && shells.count(session) == 0) continue;
        if (!found.insert(one.pid).second) continue;
        kill(one.pid, SIGSTOP);
        isMore = true;
      }
    }
  } catch (const std::bad_alloc&) {  // NOLINT(bugprone-empty-catch): kill those found so far
  }
  for (const pid_t process : found) kill(process, SIGKILL);
  for (const pid_t shell : shells) kill(-shell, SIGKILL);
}

int spawnShell(const char* line, int output, int file, pid_t& pid) {
  posix_spawn_file_actions_t actions{};
  posix_spawnattr_t attributes{};
  // Not only a group: a background group of the terminal's session may be stopped when it writes to the terminal.
  short flags = POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  sigset_t none, all;
  sigemptyset(&none);
  sigfillset(&all);
  for (const int fixed : {SIGKILL, SIGSTOP}) sigdelset(&all, fixed);
  int last = STDERR_FILENO;
  int error = posix_spawn_file_actions_init(&actions);
  if (error == 0) error = posix_spawnattr_init(&attributes);
  if (error == 0) error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  if (error == 0) error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
  if (error == 0 && file >= 0) error = posix_spawn_file_actions_adddup2(&actions, file, ++last);
  if (error == 0) error = closeDescriptorsAbove(last, actions, flags);
  if (error == 0) error = posix_spawnattr_setsigmask(&attributes, &none);
  if (error == 0) error = posix_spawnattr_setsigdefault(&attributes, &all);
  if (error == 0) error = posix_spawnattr_setflags(&attributes, flags);
  const char* arguments[] = {"sh", "-c", line, nullptr};
  char** const unchanged = const_cast<char**>(arguments);  // as posix_spawn promises
  if (error == 0) error = posix_spawn(&pid, "/bin/sh", &actions, &attributes, unchanged, environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return error;
}

}  // namespace

int Command::start(const std::string& line, int file) try {
  int ends[2];
  if (pipe(ends) != 0) return errno;
  for (const int end : ends) fcntl(end, F_SETFD, FD_CLOEXEC);
  Descriptor output(ends[0]);
  const Descriptor input(ends[1]);
  output_.reset(fdopen(output.get(), "r"));
  if (!output_) return errno;
  output.release();
  auto place = std::set<pid_t>{0}.extract(0);  // allocated before the shell runs: then nothing may fail
  Commands& all = commands();
  {
    const auto lock = lockUntilEnd();
    ++all.starting;
  }
  pid_t pid = -1;
  const int error = spawnShell(line.c_str(), input.get(), file, pid);
  {
    const std::lock_guard<std::mutex> lock(all.mutex);
    --all.starting;
    if (error == 0) {
      place.value() = pid_ = pid;
      all.shells.insert(std::move(place));
      if (all.haveEnded || isToEnd_) kill(-pid, SIGKILL);
    }
  }
  lockUntilEnd();
  return error;
} catch (const std::bad_alloc&) {
  return ENOMEM;
}

int Command::wait(bool keepBackground) {
  output_.reset();
  siginfo_t info{};
  // On macOS this returns for a shell that is stopped, too.
  while (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) == 0 && info.si_code != CLD_EXITED &&
         info.si_code != CLD_KILLED && info.si_code != CLD_DUMPED) {
    std::this_thread::sleep_for(kPause);
  }
  const auto lock = lockUntilEnd();
  if (!keepBackground) kill(-pid_, SIGKILL);
  int status = 0;
  waitpid(pid_, &status, WNOHANG);
  commands().shells.erase(std::exchange(pid_, -1));
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

void Command::end() {
  const std::lock_guard<std::mutex> lock(commands().mutex);
  isToEnd_ = true;
  if (pid_ > 0) endSessions({pid_}, false);
}

int runCommand(std::chrono::seconds limit, const std::string& line) {
  struct Run {
    Command command;
    int result = -ENOMEM;
  };
  const auto run = std::make_shared<Run>();
  const bool ended = runWithin(limit, [run, line] {
    run->result = -run->command.start(line);
    if (run->result != 0) return;
    for (char dropped[4096]; run->command.read(dropped, sizeof dropped) > 0;) continue;
    run->result = run->command.wait(true);
  });
  if (ended) return run->result;
  run->command.end();
  return -ETIMEDOUT;
}

void endCommands() {
  Commands& all = commands();
  std::unique_lock<std::mutex> lock(all.mutex);
  all.haveEnded = true;
  for (int pauses = 0; pauses <= kMaxPauses; ++pauses) {
    const bool isLast = all.starting == 0;
    endSessions(all.shells, !isLast);
    if (isLast) return;
    lock.unlock();
    std::this_thread::sleep_for(kPause);
    lock.lock();
  }
}

}  // namespace quelmar::platform

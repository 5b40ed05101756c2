#include "platform/command.h"

#include <csignal>
#include <mutex>
#include <new>
#include <set>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include "base/bounded_call.h"
#include "base/descriptor.h"
#include "platform/processes.h"

extern "C" char** environ;

namespace quelmar::platform {
namespace {

/// The shells that run, each the leader of a session. A shell is reaped and removed from this set under the
/// mutex, so no number in the set can belong to another process. Never destroyed, since detached threads
/// start commands while the process ends.
struct Leaders {
  std::mutex mutex;
  std::set<pid_t> pids;
};

Leaders& leaders() {
  static auto* const kLeaders = new Leaders;
  return *kLeaders;
}

/// Locks the mutex, or gives up after a second: a start that hangs while it holds the mutex must not keep the
/// process from ending. (Not by try_lock_for, which clang's thread sanitizer does not know.)
std::unique_lock<std::mutex> tryLock() {
  std::unique_lock<std::mutex> lock(leaders().mutex, std::try_to_lock);
  for (int tries = 0; !lock && tries < 100; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    static_cast<void>(lock.try_lock());
  }
  return lock;
}

/// Kills these shells, all processes in their sessions, and all descendants: the table of processes is needed
/// for those that have made a group or a session of their own. All are stopped first: a stopped process can
/// neither start others nor exit, so none is missed.
void endSessions(const std::set<pid_t>& shells) {
  std::set<pid_t> found;
  try {
    for (bool isMore = !shells.empty(); isMore;) {
      isMore = false;
      for (const Process& one : processes()) {
        if (found.count(one.parent) == 0 && shells.count(getsid(one.pid)) == 0) continue;
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
  utilities::Descriptor output(ends[0]);
  const utilities::Descriptor input(ends[1]);
  output_.reset(fdopen(output.get(), "r"));
  if (!output_) return errno;
  output.release();
  auto place = std::set<pid_t>{0}.extract(0);  // allocated before the shell runs: then nothing may fail
  const std::lock_guard<std::mutex> lock(leaders().mutex);
  const int error = spawnShell(limit + line, input.get(), pid_);
  place.value() = pid_;
  if (error == 0) leaders().pids.insert(std::move(place));
  return error;
}

bool Command::wait(bool keepBackground) {
  output_.reset();
  siginfo_t info{};
  while (waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
  }
  // After endCommands this blocks for ever, so that callers neither write nor log anything about a command
  // that was killed because the process ends.
  const std::lock_guard<std::mutex> lock(leaders().mutex);
  if (!keepBackground) kill(-pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  leaders().pids.erase(std::exchange(pid_, -1));
  return info.si_code == CLD_EXITED && info.si_status == 0;
}

void Command::end() {
  const auto lock = tryLock();
  if (lock && pid_ > 0) endSessions({pid_});
}

Outcome runCommand(std::chrono::seconds limit, const std::string& line) {
  const auto run = std::make_shared<std::pair<Command, Outcome>>();
  const bool ended = utilities::runWithin(limit, [run, line] {
    auto& [command, outcome] = *run;
    outcome.startError = command.start(line);
    if (outcome.startError != 0) return;
    for (char dropped[4096]; command.read(dropped, sizeof dropped) > 0;) continue;
    outcome.succeeded = command.wait(true);
    outcome.inTime = true;
  });
  if (ended) return run->second;
  run->first.end();
  return {};
}

void endCommands() {
  auto lock = tryLock();
  if (!lock) return;
  endSessions(leaders().pids);
  lock.release();  // never given back
}

}  // namespace quelmar::platform

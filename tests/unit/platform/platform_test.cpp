#include <algorithm>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>

#include "platform/command.h"
#include "platform/host.h"

using namespace quelmar;

namespace {

bool startsHang = false;

}  // namespace

extern "C" {

// As on macOS, where it returns for a stopped child though nobody asked for that.
int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
  static const auto next = reinterpret_cast<decltype(&waitid)>(dlsym(RTLD_NEXT, "waitid"));
  return next(type, id, info, options | WSTOPPED);
}

// As with an endpoint agent that does not allow the new program: it returns when that has ended.
int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
  static const auto next = reinterpret_cast<decltype(&posix_spawn)>(dlsym(RTLD_NEXT, "posix_spawn"));
  pid_t started = 0;
  const int error = next(&started, path, actions, attributes, arguments, environment);
  siginfo_t info{};
  while (startsHang && info.si_code != CLD_KILLED) waitid(P_PID, static_cast<id_t>(started), &info, WEXITED | WNOWAIT);
  *pid = started;
  return error;
}

}  // extern "C"

namespace quelmar::platform {

TEST(Command, IsWaitedForWhileItIsStopped) {
  Command command;
  ASSERT_EQ(command.start({"exec >&-; while sleep 0.01; do kill -CONT $$; done & kill -STOP $$; exit 7"}), 0);
  EXPECT_EQ(command.wait(), 7);
}

TEST(Command, IsKilledAtTheEndThoughItsStartOrAnotherOnesHangs) {
  const auto run = [] {
    alarm(20);
    Command running;
    running.start({"sleep 1000"});
    startsHang = true;
    std::thread([] { Command().start({"sleep 1000"}); }).detach();
    const auto isShell = [](const Process& one) { return one.parent == getpid() && getsid(one.pid) == one.pid; };
    for (long shells = 0; shells < 2;) {
      const std::vector<Process> all = processes();
      shells = std::count_if(all.begin(), all.end(), isShell);
    }
    endCommands();
    for (int status = 0; waitpid(-1, &status, 0) > 0;) {
      if (!WIFSIGNALED(status)) std::_Exit(1);
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

}  // namespace quelmar::platform

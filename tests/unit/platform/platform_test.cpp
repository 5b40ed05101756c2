#include <algorithm>
#include <thread>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <spawn.h>
#include <sys/wait.h>

#include "platform/command.h"
#include "platform/host.h"
#include "platform/users.h"

using namespace quelmar;

namespace {

bool startsHang = false;
std::vector<passwd> users;
std::size_t nextUser = 0;

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

void setpwent() {
  nextUser = 0;
}
void endpwent() {}
passwd* getpwent() {
  return nextUser < users.size() ? &users[nextUser++] : nullptr;
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
    const auto shells = [] {
      const std::vector<Process> all = processes();
      return std::count_if(all.begin(), all.end(),
                           [](const Process& one) { return one.parent == getpid() && getsid(one.pid) == one.pid; });
    };
    while (shells() < 2) std::this_thread::yield();
    endCommands();
    for (int status = 0; waitpid(-1, &status, 0) > 0;) {
      if (!WIFSIGNALED(status)) std::_Exit(1);
    }
    std::_Exit(0);
  };
  EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

TEST(Users, HomesAreThoseOfRootAndOfPeople) {
  const auto user = [](const char* name, uid_t uid, const char* home) {
    passwd entry{};
    entry.pw_name = const_cast<char*>(name);
    entry.pw_uid = uid;
    entry.pw_dir = const_cast<char*>(home);
    return entry;
  };
  users = {user("root", 0, "/root"),
           user("daemon", 1, "/usr/sbin"),
           user("ada", kFirstPerson, "/srv/homes/ada"),
           user("again", 4711, "/srv/homes/ada"),
           user("none", 4711, ""),
           user("top", 4711, "/"),
           user("null", 4711, "/dev/null"),
           user("gone", 4711, "/nonexistent"),
           user("nobody", 4294967294, "/var/empty"),
           user("nfs", 65534, "/nfs"),
           user("bob", 70000, "/home/bob")};
  EXPECT_EQ(homeFolders(), (std::vector<std::string>{"/home/bob", "/root", "/srv/homes/ada"}));
}

}  // namespace quelmar::platform

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include "platform/command.h"

// As on macOS, where it returns for a stopped child though nobody asked for that.
extern "C" int waitid(idtype_t type, id_t id, siginfo_t* info, int options) {
  static const auto next = reinterpret_cast<decltype(&waitid)>(dlsym(RTLD_NEXT, "waitid"));
  return next(type, id, info, options | WSTOPPED);
}

TEST(Command, IsWaitedForWhileItIsStopped) {
  quelmar::platform::Command command;
  ASSERT_EQ(command.start("exec >&-; while sleep 0.01; do kill -CONT $$; done & kill -STOP $$; exit 7"), 0);
  EXPECT_EQ(command.wait(), 7);
}

// measure COMMAND...: runs a command and prints its wall time, the CPU time of it and its children (both in
// seconds), their peak of resident memory in KiB, and how it ended. A small program of its own because a
// process inherits the peak of the one that starts it, and a script's is large.
#include <chrono>
#include <cstdio>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#ifdef __APPLE__
constexpr long kPeaksInKiB = 1024;  // ru_maxrss is in bytes there
#else
constexpr long kPeaksInKiB = 1;
#endif

static double seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const auto start = std::chrono::steady_clock::now();
  const pid_t child = fork();
  if (child == 0) {
    dup2(open("/dev/null", O_RDWR | O_CLOEXEC), STDOUT_FILENO);
    execvp(argv[1], argv + 1);
    _exit(127);
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child) return 1;
  const std::chrono::duration<double> wall = std::chrono::steady_clock::now() - start;
  std::printf("%.6f %.6f %ld %d\n", wall.count(), seconds(usage.ru_utime) + seconds(usage.ru_stime),
              usage.ru_maxrss / kPeaksInKiB, status);
}

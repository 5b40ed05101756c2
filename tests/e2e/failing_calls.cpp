// Preloaded by tests: some calls of the C library fail in the tool, and only there.
//   FAIL_CALL   the functions' names as the program links them, each between commas: ",openat,open,"
//   FAIL_PATH   a pattern (fnmatch's) for the path that a call names, or that its descriptor is open on
//   FAIL_ERRNO  the error; 0: the call transfers one byte less than it was asked for (read and write only)
//   FAIL_FROM, FAIL_TIMES  the first such call that fails, counted from 1, and how many do; 1 and all by
//   default
// FAIL_LOG=1 names each call that fails on standard error.
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

namespace {

const char* setting(const char* name, const char* otherwise) {
  const char* value = std::getenv(name);
  return value == nullptr ? otherwise : value;
}

std::string pathOf(int fd) {
  char path[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  return readlink(link.c_str(), path, sizeof(path) - 1) < 0 ? "" : path;
}

std::string pathOf(int fd, const char* name) {
  if (name == nullptr || name[0] == '/' || fd == AT_FDCWD) return name == nullptr ? pathOf(fd) : name;
  return pathOf(fd) + "/" + name;
}

/// Tells whether this call is to fail, and sets errno then. The path is only asked for where it matters.
template <typename Path>
bool fails(const char* call, const Path& path) {
  static const bool isTool = std::strcmp(program_invocation_short_name, "LogCollectionTool") == 0;
  static const std::string calls = setting("FAIL_CALL", "");
  static const std::string pattern = setting("FAIL_PATH", "*");
  static const int error = std::atoi(setting("FAIL_ERRNO", "5"));
  static const long from = std::atol(setting("FAIL_FROM", "1"));
  static const long times = std::atol(setting("FAIL_TIMES", "1000000000"));
  static std::atomic<long> seen{0};
  if (!isTool || calls.find("," + std::string(call) + ",") == std::string::npos) return false;
  if (fnmatch(pattern.c_str(), std::string(path()).c_str(), 0) != 0) return false;
  const long number = ++seen;
  if (number < from || number - from >= times) return false;
  if (*setting("FAIL_LOG", "") != '\0')
    dprintf(STDERR_FILENO, "%s %s fails\n", call, std::string(path()).c_str());
  errno = error;
  return true;
}

}  // namespace

// A function that fails by `failure`; PATH says what its arguments name. The C library declares some of them
// with variable arguments, and its names with and without 64 differ in their types only: so each is defined
// under a name of its own, and an assembler name that the program links.
#define FAILING(RESULT, NAME, PARAMETERS, ARGUMENTS, PATH, FAILURE)                           \
  extern "C" RESULT my_##NAME PARAMETERS __asm__(#NAME);                                      \
  extern "C" RESULT my_##NAME PARAMETERS {                                                    \
    static const auto real = reinterpret_cast<RESULT(*) PARAMETERS>(dlsym(RTLD_NEXT, #NAME)); \
    if (fails(#NAME, [&] { return PATH; })) return FAILURE;                                   \
    return real ARGUMENTS;                                                                    \
  }
#define FAILING_BOTH(RESULT, NAME, ...) \
  FAILING(RESULT, NAME, __VA_ARGS__)    \
  FAILING(RESULT, NAME##64, __VA_ARGS__)
#define AT int fd, const char *name

FAILING_BOTH(int, open, (const char* name, int flags, mode_t mode), (name, flags, mode), name, -1)
FAILING_BOTH(int, openat, (AT, int flags, mode_t mode), (fd, name, flags, mode), pathOf(fd, name), -1)
FAILING_BOTH(void*, fopen, (const char* name, const char* mode), (name, mode), name, nullptr)
FAILING_BOTH(int, stat, (const char* name, void* info), (name, info), name, -1)
FAILING_BOTH(int, lstat, (const char* name, void* info), (name, info), name, -1)
FAILING_BOTH(int, fstat, (int fd, void* info), (fd, info), pathOf(fd), -1)
FAILING_BOTH(int, fstatat, (AT, void* info, int flags), (fd, name, info, flags), pathOf(fd, name), -1)
FAILING(int, statx, (AT, int flags, unsigned mask, void* info), (fd, name, flags, mask, info),
        pathOf(fd, name), -1)
FAILING_BOTH(int, statvfs, (const char* name, void* info), (name, info), name, -1)
FAILING_BOTH(int, fstatvfs, (int fd, void* info), (fd, info), pathOf(fd), -1)
FAILING(int, mkdir, (const char* name, mode_t mode), (name, mode), name, -1)
FAILING(int, mkdirat, (AT, mode_t mode), (fd, name, mode), pathOf(fd, name), -1)
FAILING(int, chmod, (const char* name, mode_t mode), (name, mode), name, -1)
FAILING(int, fchmod, (int fd, mode_t mode), (fd, mode), pathOf(fd), -1)
FAILING(int, fchmodat, (AT, mode_t mode, int flags), (fd, name, mode, flags), pathOf(fd, name), -1)
FAILING(int, unlink, (const char* name), (name), name, -1)
FAILING(int, unlinkat, (AT, int flags), (fd, name, flags), pathOf(fd, name), -1)
FAILING(int, rmdir, (const char* name), (name), name, -1)
FAILING(int, remove, (const char* name), (name), name, -1)
FAILING(int, rename, (const char* name, const char* to), (name, to), name, -1)
FAILING(int, renameat, (AT, int toFd, const char* to), (fd, name, toFd, to), pathOf(fd, name), -1)
FAILING(int, link, (const char* name, const char* to), (name, to), name, -1)
FAILING(int, linkat, (AT, int toFd, const char* to, int flags), (fd, name, toFd, to, flags), pathOf(fd, name),
        -1)
FAILING_BOTH(int, ftruncate, (int fd, off_t size), (fd, size), pathOf(fd), -1)
FAILING(int, fsync, (int fd), (fd), pathOf(fd), -1)
FAILING(void*, opendir, (const char* name), (name), name, nullptr)
FAILING(void*, fdopendir, (int fd), (fd), pathOf(fd), nullptr)
FAILING_BOTH(void*, readdir, (DIR * directory), (directory), pathOf(dirfd(directory)), nullptr)

// These may also come up short.
#define TRANSFERRING(NAME, PARAMETERS, ARGUMENTS)                                              \
  extern "C" ssize_t my_##NAME PARAMETERS __asm__(#NAME);                                      \
  extern "C" ssize_t my_##NAME PARAMETERS {                                                    \
    static const auto real = reinterpret_cast<ssize_t(*) PARAMETERS>(dlsym(RTLD_NEXT, #NAME)); \
    if (fails(#NAME, [&] { return pathOf(fd); })) {                                            \
      if (errno != 0) return -1;                                                               \
      if (size > 1) --size;                                                                    \
    }                                                                                          \
    return real ARGUMENTS;                                                                     \
  }
TRANSFERRING(read, (int fd, void* data, size_t size), (fd, data, size))
TRANSFERRING(write, (int fd, const void* data, size_t size), (fd, data, size))
TRANSFERRING(pread, (int fd, void* data, size_t size, off_t at), (fd, data, size, at))
TRANSFERRING(pread64, (int fd, void* data, size_t size, off_t at), (fd, data, size, at))
TRANSFERRING(pwrite, (int fd, const void* data, size_t size, off_t at), (fd, data, size, at))
TRANSFERRING(pwrite64, (int fd, const void* data, size_t size, off_t at), (fd, data, size, at))

// The descriptor is closed all the same.
extern "C" int my_close(int fd) __asm__("close");
extern "C" int my_close(int fd) {
  static const auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "close"));
  const bool failing = fails("close", [&] { return pathOf(fd); });
  const int error = errno;
  const int result = real(fd);
  if (failing) errno = error;
  return failing ? -1 : result;
}

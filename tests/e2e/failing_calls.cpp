// Preloaded by tests: some calls of the C library fail in the tool, and only there.
//   FAIL_CALL   the functions' names without a 64 at their end, each between blanks: " openat open "
//   FAIL_PATH   a pattern (fnmatch's) for the path that a call names, or that its descriptor is open on
//   FAIL_ERRNO  the error; 0: a folder tells no kinds, and fstat tells 4 GiB more than there are; -1: the call waits
//               until all that have /gate open for writing have closed it, and succeeds; -2: its name and path are
//               written to standard error, and it succeeds
//   FAIL_FROM   the first such call that fails, counted from 1; -N: only the Nth fails
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
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string openOn(long fd) {
  char path[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  return readlink(link.c_str(), path, sizeof(path) - 1) < 0 ? "" : path;
}

std::string named(long folder, long name) {
  const std::string path = reinterpret_cast<const char*>(name);
  return path[0] == '/' || static_cast<int>(folder) == AT_FDCWD ? path : openOn(folder) + "/" + path;
}

/// Tells whether this call is to fail, and sets errno then. The path is only asked for where it matters.
template <typename Path>
bool fails(std::string call, Path pathOf) {
  static const bool isTool = std::strcmp(program_invocation_short_name, "LogCollectionTool") == 0;
  static const std::string calls = std::getenv("FAIL_CALL"), pattern = std::getenv("FAIL_PATH");
  static const int error = std::atoi(std::getenv("FAIL_ERRNO")), first = std::atoi(std::getenv("FAIL_FROM"));
  static std::atomic<int> seen{0};
  call = call.substr(0, call.find("64"));
  if (!isTool || calls.find(" " + call + " ") == std::string::npos) return false;
  const std::string path = pathOf();
  if (fnmatch(pattern.c_str(), path.c_str(), 0) != 0) return false;
  if (const int number = ++seen; first > 0 ? number < first : number != -first) return false;
  if (error == -2) std::fprintf(stderr, "%s %s\n", call.c_str(), path.c_str());
  // Within the C library nothing is replaced.
  if (FILE* const gate = error == -1 ? std::fopen("/gate", "re") : nullptr) {
    while (std::fgetc(gate) != EOF) continue;
    std::fclose(gate);
  }
  errno = error;
  return error >= 0;
}

}  // namespace

// Defines what the program links as NAME. The C library declares some with variable arguments, and names with and
// without 64 with different types: so each is defined under another name.
#define REPLACED(RESULT, NAME, PARAMETERS)               \
  extern "C" RESULT my_##NAME PARAMETERS __asm__(#NAME); \
  extern "C" RESULT my_##NAME PARAMETERS
#define REAL(NAME) static const auto real = reinterpret_cast<decltype(&my_##NAME)>(dlsym(RTLD_NEXT, #NAME))

// A call of at most five arguments, all of which go in registers, whatever their types. It fails with -1.
#define FAILING(NAME, WHERE)                                               \
  REPLACED(long, NAME, (long a, long b, long c, long d, long e)) {         \
    REAL(NAME);                                                            \
    return fails(#NAME, [=] { return WHERE; }) ? -1 : real(a, b, c, d, e); \
  }
#define FAILING_AT(NAME) FAILING(NAME, named(a, b))
#define FAILING_ON(NAME) FAILING(NAME, openOn(a))
#define FAILING_BY(NAME) FAILING(NAME, named(AT_FDCWD, a))
#define FOLDER_AND_NAME(X) X(openat) X(fstatat) X(statx) X(readlinkat) X(mkdirat) X(unlinkat) X(linkat) X(renameat)
#define DESCRIPTOR(X) X(fstatvfs) X(fchmod) X(ftruncate) X(fsync) X(close) X(read) X(write) X(pread)
#define PATH(X) X(open) X(stat) X(stat64) X(lstat) X(lstat64) X(statvfs64)

FOLDER_AND_NAME(FAILING_AT)
DESCRIPTOR(FAILING_ON)
PATH(FAILING_BY)
FAILING(pipe, std::string("a pipe"))

// Writes within the C library's stdio cannot be replaced.
REPLACED(size_t, fwrite, (const void* data, size_t size, size_t count, FILE* file)) {
  REAL(fwrite);
  if (!fails("fwrite", [=] { return openOn(fileno(file)); })) return real(data, size, count, file);
  file->_flags |= 0x20;  // ferror's
  return 0;
}

REPLACED(int, fstat, (int fd, struct stat* info)) {
  REAL(fstat);
  const bool fail = fails("fstat", [=] { return openOn(fd); });
  if ((fail && errno != 0) || real(fd, info) != 0) return -1;
  if (fail) info->st_size += off_t{1} << 32;
  return 0;
}

REPLACED(dirent*, readdir, (DIR * folder)) {
  REAL(readdir);
  const bool fail = fails("readdir", [=] { return openOn(dirfd(folder)); });
  if (fail && errno != 0) return nullptr;
  dirent* const entry = real(folder);
  if (fail && entry != nullptr) entry->d_type = DT_UNKNOWN;
  return entry;
}

// With the error 0 it returns when the program has ended: so long an endpoint agent may hold it up.
REPLACED(int, posix_spawn,
         (pid_t * pid, const char* path, void* actions, void* attributes, char** arguments, char** environment)) {
  REAL(posix_spawn);
  siginfo_t info;
  const int error = real(pid, path, actions, attributes, arguments, environment);
  if (fails("posix_spawn", [=] { return path; })) waitid(P_PID, static_cast<id_t>(*pid), &info, WEXITED | WNOWAIT);
  return error;
}

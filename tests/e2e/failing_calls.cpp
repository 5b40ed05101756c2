// Preloaded by tests: some calls of the C library fail in the tool, and only there.
//   FAIL_CALL   the functions' names as the program links them, each between commas: ",openat,open,"
//   FAIL_PATH   a pattern (fnmatch's) for the path that a call names, or that its descriptor is open on
//   FAIL_ERRNO  the error; 0: a folder tells no kinds, and fstat tells
//               4 GiB more than there are; -1: the call
//               waits until all that have /gate open for writing have closed it, and succeeds; -2: it is added to
//               /trace, by its name and path, and succeeds
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
#include <sys/syscall.h>
#include <unistd.h>

namespace {

// What a call's arguments name.
std::string pathOf(int fd, ...) {
  char path[4096] = "";
  const std::string link = "/proc/self/fd/" + std::to_string(fd);
  return readlink(link.c_str(), path, sizeof(path) - 1) < 0 ? "" : path;
}
std::string pathOf(int fd, const char* name, ...) {
  return name[0] == '/' || fd == AT_FDCWD ? name : pathOf(fd) + "/" + name;
}
std::string pathOf(const char* name, ...) {
  return name;
}
std::string pathOf(DIR* directory) {
  return pathOf(dirfd(directory));
}
std::string pathOf(FILE* file) {
  return pathOf(fileno(file));
}

thread_local bool enlarges = false;
void shorten(...) {}
void shorten(int, const void*) {
  enlarges = true;
}

/// Tells whether this call is to fail, and sets errno then. The path is only asked for where it matters.
template <typename... Args>
bool fails(const char* call, Args&... args) {
  static const bool isTool = std::strcmp(program_invocation_short_name, "LogCollectionTool") == 0;
  static const std::string calls = std::getenv("FAIL_CALL"), pattern = std::getenv("FAIL_PATH");
  static const int error = std::atoi(std::getenv("FAIL_ERRNO")), first = std::atoi(std::getenv("FAIL_FROM"));
  static std::atomic<int> seen{0};
  if (!isTool || calls.find("," + std::string(call) + ",") == std::string::npos) return false;
  if (fnmatch(pattern.c_str(), pathOf(args...).c_str(), 0) != 0) return false;
  if (const int number = ++seen; first > 0 ? number < first : number != -first) return false;
  if (error == 0) shorten(args...);
  if (error == -1) {
    char none;
    const auto gate = static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/gate", O_RDONLY | O_CLOEXEC));
    while (gate >= 0 && syscall(SYS_read, gate, &none, 1) > 0) continue;
    syscall(SYS_close, gate);
  }
  if (error == -2) {
    const std::string line = std::string(call) + " " + pathOf(args...) + "\n";
    static const auto trace =
        static_cast<int>(syscall(SYS_openat, AT_FDCWD, "/trace", O_WRONLY | O_APPEND | O_CLOEXEC));
    syscall(SYS_write, trace, line.data(), line.size());
  }
  errno = error;
  return error > 0;
}

}  // namespace

// The C library declares some functions with variable arguments, and its names with and without 64 differ in
// their types only: so each is defined under a name of its own, and an assembler name that the program links.
#define FAILING(RESULT, NAME, PARAMETERS, ...)                                                \
  extern "C" RESULT my_##NAME PARAMETERS __asm__(#NAME);                                      \
  extern "C" RESULT my_##NAME PARAMETERS {                                                    \
    static const auto real = reinterpret_cast<RESULT(*) PARAMETERS>(dlsym(RTLD_NEXT, #NAME)); \
    return fails(#NAME, __VA_ARGS__) ? -1 : real(__VA_ARGS__);                                \
  }

FAILING(int, open, (const char* path, int flags, mode_t mode), path, flags, mode)
FAILING(int, open64, (const char* path, int flags, mode_t mode), path, flags, mode)
FAILING(int, openat, (int fd, const char* name, int flags, mode_t mode), fd, name, flags, mode)
FAILING(int, lstat, (const char* path, void* info), path, info)
FAILING(int, lstat64, (const char* path, void* info), path, info)
FAILING(int, stat, (const char* path, void* info), path, info)
FAILING(int, fstatat, (int fd, const char* name, void* info, int flags), fd, name, info, flags)
FAILING(int, statx, (int fd, const char* name, int flags, int mask, void* to), fd, name, flags, mask, to)
FAILING(int, statvfs64, (const char* path, void* info), path, info)
FAILING(int, fstatvfs, (int fd, void* info), fd, info)
FAILING(ssize_t, readlinkat, (int fd, const char* name, char* to, size_t size), fd, name, to, size)
FAILING(int, mkdir, (const char* path, mode_t mode), path, mode)
FAILING(int, mkdirat, (int fd, const char* name, mode_t mode), fd, name, mode)
FAILING(int, unlink, (const char* path), path)
FAILING(int, unlinkat, (int fd, const char* name, int flags), fd, name, flags)
FAILING(int, linkat, (int fd, const char* path, int to, const char* name, int flags), fd, path, to, name, flags)
FAILING(int, rename, (const char* path, const char* to), path, to)
FAILING(int, renameat, (int fd, const char* name, int to, const char* path), fd, name, to, path)
FAILING(int, ftruncate, (int fd, off_t size), fd, size)
FAILING(int, fsync, (int fd), fd)
FAILING(int, close, (int fd), fd)
FAILING(ssize_t, read, (int fd, void* data, size_t size), fd, data, size)
FAILING(ssize_t, write, (int fd, const void* data, size_t size), fd, data, size)
FAILING(ssize_t, pread, (int fd, void* data, size_t size, off_t at), fd, data, size, at)
FAILING(ssize_t, pwrite, (int fd, const void* data, size_t size, off_t at), fd, data, size, at)

// Writes within the C library's stdio cannot be replaced.
extern "C" size_t my_fwrite(const void* data, size_t size, size_t count, FILE* file) __asm__("fwrite");
extern "C" size_t my_fwrite(const void* data, size_t size, size_t count, FILE* file) {
  static const auto real = reinterpret_cast<decltype(&my_fwrite)>(dlsym(RTLD_NEXT, "fwrite"));
  if (!fails("fwrite", file)) return real(data, size, count, file);
  file->_flags |= 0x20;  // ferror's
  return 0;
}

extern "C" int my_fstat(int fd, struct stat* info) __asm__("fstat");
extern "C" int my_fstat(int fd, struct stat* info) {
  static const auto real = reinterpret_cast<int (*)(int, struct stat*)>(dlsym(RTLD_NEXT, "fstat"));
  enlarges = false;
  void* const unused = nullptr;
  if (fails("fstat", fd, unused) || real(fd, info) != 0) return -1;
  if (enlarges) info->st_size += off_t{1} << 32;
  return 0;
}

extern "C" dirent* my_readdir(DIR* folder) __asm__("readdir");
extern "C" dirent* my_readdir(DIR* folder) {
  static const auto real = reinterpret_cast<dirent* (*)(DIR*)>(dlsym(RTLD_NEXT, "readdir"));
  dirent* const entry = fails("readdir", folder) ? nullptr : real(folder);
  if (entry != nullptr && std::strcmp(std::getenv("FAIL_ERRNO"), "0") == 0) entry->d_type = DT_UNKNOWN;
  return entry;
}

#include "support/confine.h"

#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <set>
#include <system_error>

#include <fcntl.h>
#include <grp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#ifdef __linux__
#include <linux/capability.h>
#include <linux/securebits.h>
#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#endif

namespace testing_support {
namespace {

bool runUnconfined(const char* why) {
  constexpr uid_t kNobody = 65534;
  std::fprintf(stderr, "These tests are not confined: %s.\n", why);
  const char* const ci = std::getenv("CI");
  const bool isOrdinary =
      geteuid() != 0 || (setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0);
  if (!isOrdinary) std::fprintf(stderr, "Nor can root become an ordinary user here: nothing is run.\n");
  if (!isOrdinary || (ci != nullptr && std::strcmp(ci, "true") == 0)) _exit(1);
  return false;
}

#ifdef __linux__

constexpr const char* kName = "confined";  // of process 1, by which a confined process knows that it is one

/// State shared by all processes involved: who started them, and what the waiting process needs to know.
struct Outcome {
  uid_t user;
  gid_t group;
  int status;  // as of waitpid; -1: not known yet
  char whyNot[200];
};

void must(bool done, const std::string& what) {
  if (!done) throw std::system_error(errno, std::generic_category(), what);
}

void mountAt(const std::string& path, const std::string& source, const char* type, unsigned long flags,
             const char* options = nullptr) {
  must(mount(source.c_str(), path.c_str(), type, flags, options) == 0, path);
}

/// Sets and clears attributes of the mount at `path`, in this namespace only; `depth` may be AT_RECURSIVE.
void setMount(const std::string& path, unsigned depth, std::uint64_t set, std::uint64_t clear) {
  const std::uint64_t attributes[] = {set, clear, MS_PRIVATE, 0};
  must(syscall(SYS_mount_setattr, -1, path.c_str(), depth, attributes, sizeof attributes) == 0, path);
}

std::string absolute(const std::string& path) {
  char found[PATH_MAX];
  must(realpath(path.c_str(), found) != nullptr, path);
  return found;
}

/// Mounts an empty folder over `folder`. The entries `names`, and those of `paths` that are in `folder`, stay
/// visible.
void cover(const std::string& folder, std::set<std::string> names, const std::set<std::string>& paths) {
  const std::size_t begin = folder.size() + 1;
  for (const std::string& path : paths) {
    if (path.rfind(folder + "/", 0) == 0) names.insert(path.substr(begin, path.find('/', begin) - begin));
  }
  std::map<std::string, int> kept;
  for (const std::string& name : names) {
    const int entry = open((folder + "/" + name).c_str(), O_PATH | O_CLOEXEC);
    if (entry >= 0) kept[folder + "/" + name] = entry;
  }
  mountAt(folder, "tmpfs", "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777");
  for (const auto& [path, entry] : kept) {
    struct stat info {};
    fstat(entry, &info);
    S_ISDIR(info.st_mode) ? mkdir(path.c_str(), 0755) : mknod(path.c_str(), S_IFREG | 0600, 0);
    mountAt(path, "/proc/self/fd/" + std::to_string(entry), nullptr, MS_BIND | MS_REC);
    close(entry);
  }
}

void becomeRootOfNamespace(uid_t user, gid_t group) {
  std::ofstream("/proc/self/setgroups") << "deny";
  std::ofstream("/proc/self/gid_map") << "0 " << group << " 1";
  std::ofstream("/proc/self/uid_map") << "0 " << user << " 1";
  must(geteuid() == 0, "uid_map");
}

/// In the new namespaces: makes files read-only and covers folders.
void enclose(const std::string& writable) {
  enum : std::uint64_t { kReadOnly = 1, kNoSetuid = 2 };
  const std::string here = absolute(".");
  std::set<std::string> needed = {here, absolute("/proc/self/exe")};
  setMount("/", AT_RECURSIVE, kReadOnly | kNoSetuid, 0);
  if (!writable.empty()) {
    const std::string path = *needed.insert(absolute(writable)).first;
    mountAt(path, path, nullptr, MS_BIND | MS_REC);
    setMount(path, 0, 0, kReadOnly);
  }
  cover(absolute("/tmp"), {}, needed);
  cover(absolute("/run"), {}, needed);
  cover("/dev", {"null", "zero", "full", "random", "urandom", "tty"}, needed);
  mkdir("/dev/pts", 0755);
  mountAt("/dev/pts", "devpts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=666");
  must(symlink("pts/ptmx", "/dev/ptmx") == 0, "ptmx");
  must(chdir(here.c_str()) == 0, here);
  setenv("TMPDIR", "/tmp", 1);
  const int network = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  ifreq loopback{};
  std::strcpy(loopback.ifr_name, "lo");
  loopback.ifr_flags = IFF_UP | IFF_RUNNING;
  must(ioctl(network, SIOCSIFFLAGS, &loopback) == 0, "lo");
  close(network);
  // Last: until here /proc/self of the old mount is needed.
  mountAt("/proc", "proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC | MS_RDONLY);
}

void giveUpRights() {
  // Without this, programs that root executes would get them back.
  must(prctl(PR_SET_SECUREBITS, SECBIT_NOROOT | SECBIT_NOROOT_LOCKED) == 0, "securebits");
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  __user_cap_data_struct none[2]{};
  must(syscall(SYS_capset, &header, none) == 0, "capset");
}

volatile pid_t child = -1;

/// Waits until the child has ended, passing on the signals meant for it. Returns its wait status.
int waitForChild() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    std::signal(number, [](int received) { kill(child, received); });
  }
  int status = -1;
  for (pid_t ended = 0; ended != child;) {
    ended = waitpid(-1, &status, 0);
    if (ended < 0 && errno != EINTR) return -1;
  }
  return status;
}

/// Becomes process 1 of the namespaces. Returns in its child, the process that is confined.
void beginNamespaces(const std::string& writable, Rights rights, Nesting nesting, bool ownsUsers,
                     Outcome& outcome) {
  try {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    setsid();  // a signal to the process group of the test stays in here as well
    if (ownsUsers) becomeRootOfNamespace(outcome.user, outcome.group);
    enclose(writable);
    prctl(PR_SET_NAME, nesting == Nesting::kNo ? kName : "nesting");
    child = fork();
    must(child >= 0, "fork");
    if (child == 0 && rights == Rights::kNone) giveUpRights();
  } catch (const std::exception& failure) {
    std::snprintf(outcome.whyNot, sizeof outcome.whyNot, "%s", failure.what());
    _exit(1);
  }
  if (child == 0) return;
  outcome.status = waitForChild();
  _exit(0);  // and with it ends whatever is left in here
}

[[noreturn]] void endAs(int status) {
  if (status >= 0 && WIFSIGNALED(status)) {
    const rlimit noSecondCore{};
    setrlimit(RLIMIT_CORE, &noSecondCore);
    std::signal(WTERMSIG(status), SIG_DFL);
    raise(WTERMSIG(status));
  }
  _exit(status >= 0 && WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

bool isConfined() {
  std::string name;
  std::getline(std::ifstream("/proc/1/comm"), name);
  return name == kName;
}

#endif

}  // namespace

#ifdef __linux__

bool confine(const std::string& writable, Rights rights, Nesting nesting) {
  if (isConfined()) return true;
  std::fflush(nullptr);
  std::signal(SIGCHLD, SIG_DFL);
  auto* const outcome = static_cast<Outcome*>(
      mmap(nullptr, sizeof(Outcome), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  *outcome = {geteuid(), getegid(), -1, ""};
  for (const int more : {0, CLONE_NEWUSER}) {
    // Not unshare: it cannot make a user namespace once a sanitizer has started a thread.
    const int flags = CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWIPC | more | SIGCHLD;
    child = static_cast<pid_t>(syscall(SYS_clone, flags, 0, 0, 0, 0));
    if (child < 0) continue;
    if (child == 0) {
      beginNamespaces(writable, rights, nesting, more != 0, *outcome);
      return true;
    }
    const int ended = waitForChild();
    if (outcome->whyNot[0] != '\0') return runUnconfined(outcome->whyNot);
    endAs(outcome->status >= 0 ? outcome->status : ended);
  }
  return runUnconfined(std::strerror(errno));
}

#else

bool confine(const std::string& /*writable*/, Rights /*rights*/, Nesting /*nesting*/) {
  return runUnconfined("this system has no namespaces");
}

#endif

}  // namespace testing_support

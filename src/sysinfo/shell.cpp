#include "sysinfo/shell.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/bounded_call.h"
#include "base/scope_guard.h"
#include "logging/log_call.h"

namespace quelmar::logutils::macos::details {
namespace {

constexpr std::size_t kReadBytes = 4096;
constexpr std::size_t kMaxCapturedBytes = 16 * 1024 * 1024;

}  // namespace

bool cmdPopen(const std::string& cmd, std::string& output) {
  output.clear();
  FILE* stream = nullptr;
  const ScopeGuard closeStream([&stream] {
    if (stream != nullptr) pclose(stream);
    stream = nullptr;
  });
  // One byte more than is ever read: the text always ends in a zero byte.
  std::array<char, kReadBytes + 1> buffer{};

  stream = popen(cmd.c_str(), "r");
  if (stream == nullptr) {
    const int error = errno;
    LOG_CALL(kErr, "popen(cmd) fail,cmd:{}; Reason: errorno:{},msg:{}", cmd, error, std::strerror(error));
    return false;
  }
  // The buffer keeps its old bytes between reads, and they are appended again: kept on purpose, readers of
  // the captured texts know it.
  while (std::fread(buffer.data(), 1, kReadBytes, stream) > 0) {
    if (output.size() < kMaxCapturedBytes) output += buffer.data();
  }
  return true;
}

bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd, std::string& output) {
  struct Outcome {
    bool started = false;
    std::string text;
  };
  output.clear();
  const auto outcome = std::make_shared<Outcome>();
  const bool ended =
      utilities::runWithin(limit, [outcome, cmd] { outcome->started = cmdPopen(cmd, outcome->text); });
  if (!ended) return false;
  output = std::move(outcome->text);
  return outcome->started;
}

void out2File(const std::string& path, const std::string& text) {
  // Opened by descriptor first: a pipe or a link that somebody left at the path must neither block nor be
  // followed.
  const int fd =
      open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0666);
  if (fd < 0) return;
  struct stat info {};
  FILE* file = fstat(fd, &info) == 0 && S_ISREG(info.st_mode) ? fdopen(fd, "a") : nullptr;
  if (file == nullptr) {
    close(fd);
    return;
  }
  std::fwrite(text.data(), 1, text.size(), file);
  std::fclose(file);
}

}  // namespace quelmar::logutils::macos::details

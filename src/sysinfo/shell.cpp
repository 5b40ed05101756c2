#include "sysinfo/shell.h"

#include <array>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>

#include "base/bounded_call.h"
#include "logging/log_call.h"

namespace quelmar::logutils::macos::details {
namespace {

constexpr std::size_t kReadBytes = 4096;
constexpr std::size_t kMaxCapturedBytes = 1024 * 1024;

bool run(platform::Command& command, const std::string& cmd, std::string& output, std::uintmax_t maxFileBytes,
         bool sparesOthers) {
  output.clear();
  // One byte more than is ever read: the text always ends in a zero byte.
  std::array<char, kReadBytes + 1> buffer{};
  if (const int error = command.start(cmd, maxFileBytes)) {
    LOG_CALL_AS("cmdPopen", kErr, "popen(cmd) fail,cmd:{}; Reason: errorno:{},msg:{}", cmd, error,
                std::strerror(error));
    return false;
  }
  // The buffer keeps its old bytes between reads, and they are appended again: kept on purpose, readers of
  // the captured texts know it.
  while (command.read(buffer.data(), kReadBytes) > 0) {
    if (output.size() < kMaxCapturedBytes) output += buffer.data();
  }
  command.wait(sparesOthers);
  return true;
}

}  // namespace

bool cmdPopen(const std::string& cmd, std::string& output, std::uintmax_t maxFileBytes) {
  platform::Command command;
  return run(command, cmd, output, maxFileBytes, false);
}

bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd, std::string& output) {
  struct Run {
    platform::Command command;
    std::string text;
    bool isStarted = false;
  };
  const auto shared = std::make_shared<Run>();
  const bool ended = utilities::runWithin(limit, [shared, cmd] {
    shared->isStarted = run(shared->command, cmd, shared->text, UINTMAX_MAX, true);
  });
  if (!ended) shared->command.end();
  output = ended ? shared->text : "";
  return ended && shared->isStarted;
}

void out2File(const std::string& path, const std::string& text) {
  // A pipe or a link that somebody left at the path must neither block nor be followed.
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const utilities::Descriptor file(open(path.c_str(), flags, 0666));
  struct stat info {};
  if (fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1) return;
  for (std::size_t at = 0; at < text.size();) {
    const ssize_t put = write(file.get(), text.data() + at, text.size() - at);
    if (put < 0 && errno != EINTR) return;
    if (put > 0) at += static_cast<std::size_t>(put);
  }
}

}  // namespace quelmar::logutils::macos::details

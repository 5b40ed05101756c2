#include "sysinfo/shell.h"

#include <array>
#include <cstring>
#include <new>

#include "logging/logger.h"

namespace quelmar::logutils::macos::details {
namespace {

constexpr std::size_t kReadBytes = 4096;
constexpr std::size_t kMaxCapturedBytes = 1024 * 1024;

void logNotStarted(const std::string& cmd, int error) {
  LOG_CALL_AS("cmdPopen", kErr, "popen(cmd) fail,cmd:{}; Reason: errorno:{},msg:{}", cmd, error, std::strerror(error));
}

}  // namespace

bool cmdPopen(const std::string& cmd, std::string& output) {
  int status = 0;
  return cmdPopen(cmd, {cmd}, output, status);
}

bool cmdPopen(const std::string& cmd, const platform::CommandLine& line, std::string& output, int& status) {
  output.clear();
  // One byte more than is read at a time, so that the text always ends in a zero byte.
  std::array<char, kReadBytes + 1> buffer{};
  platform::Command command;
  const int error = command.start(line);
  if (error != 0) {
    logNotStarted(cmd, error);
    return false;
  }
  // After a short read the buffer still has older bytes behind the new ones, which are appended again: kept on purpose,
  // readers of the captured texts know it.
  for (bool isFull = false; command.read(buffer.data(), kReadBytes) > 0;) {
    isFull = isFull || output.size() >= kMaxCapturedBytes;
    try {
      if (!isFull) output += buffer.data();
    } catch (const std::bad_alloc&) {
      isFull = true;
    }
  }
  status = command.wait();
  return true;
}

bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd) {
  const platform::Outcome outcome = platform::runCommand(limit, cmd);
  if (outcome.startError != 0) logNotStarted(cmd, outcome.startError);
  return outcome.inTime;
}

}  // namespace quelmar::logutils::macos::details

#include "sysinfo/shell.h"

#include <array>
#include <cstring>

#include "logging/log_call.h"
#include "platform/command.h"

namespace quelmar::logutils::macos::details {
namespace {

constexpr std::size_t kReadBytes = 4096;
constexpr std::size_t kMaxCapturedBytes = 1024 * 1024;

void logNotStarted(const std::string& cmd, int error) {
  LOG_CALL_AS("cmdPopen", kErr, "popen(cmd) fail,cmd:{}; Reason: errorno:{},msg:{}", cmd, error,
              std::strerror(error));
}

}  // namespace

bool cmdPopen(const std::string& cmd, std::string& output, std::uintmax_t maxFileBytes) {
  output.clear();
  // One byte more than is read at a time, so that the text always ends in a zero byte.
  std::array<char, kReadBytes + 1> buffer{};
  platform::Command command;
  const int error = command.start(cmd, maxFileBytes);
  if (error != 0) {
    logNotStarted(cmd, error);
    return false;
  }
  // After a short read the buffer still has older bytes behind the new ones, which are appended again: kept
  // on purpose, readers of the captured texts know it.
  while (command.read(buffer.data(), kReadBytes) > 0) {
    if (output.size() < kMaxCapturedBytes) output += buffer.data();
  }
  command.wait();
  return true;
}

bool cmdPopenWithin(std::chrono::seconds limit, const std::string& cmd) {
  const platform::Outcome outcome = platform::runCommand(limit, cmd);
  if (outcome.startError != 0) logNotStarted(cmd, outcome.startError);
  return outcome.inTime;
}

}  // namespace quelmar::logutils::macos::details

#include "sysinfo/report.h"

#include <atomic>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>

#include "base/descriptor.h"
#include "base/regular_file.h"
#include "logging/log_call.h"
#include "sysinfo/shell.h"

namespace quelmar::logutils::macos::details {
namespace {

constexpr std::uintmax_t kUnit = 1024;  // "ulimit -f" counts in blocks of this size, or of half of it

std::atomic<std::uintmax_t> maxReportBytes{1'073'741'824};  // 1 GiB

}  // namespace

std::string sectionBanner(const std::string& title) {
  constexpr std::size_t kRuleWidth = 34;
  const std::string rule(kRuleWidth, '=');
  return rule + " " + title + " " + rule + "\n";
}

void out2File(const std::string& path, const std::string& text) {
  // A pipe at the path must not block, a link must not be followed.
  const int flags = O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
  const utilities::Descriptor file(open(path.c_str(), flags, 0666));
  struct stat info {};
  if (fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1) return;
  utilities::writeAll(file.get(), text.data(), text.size());
}

bool claimReport(const char* function, const std::string& path, utilities::Expected expected) {
  const std::error_code ec = utilities::removeUnexpected(path, expected);
  if (ec) {
    LOG_CALL_AS(function, kWarn, "report {} left out.; Reason: code:{} msg:{}", path, ec.value(),
                ec.message());
  }
  return !ec;
}

void limitReports(std::uintmax_t bytes) {
  maxReportBytes = bytes / kUnit * kUnit;
}

Report::Report(const char* function, std::string path, std::string target)
    : function_(function), path_(std::move(path)), target_(std::move(target)) {}

void Report::banner(const std::string& title) {
  const std::string text = sectionBanner(title);
  endIfFull(text.size(), title);
  if (!hasEnded_ && !utilities::removeUnexpected(path_)) out2File(path_, text);
}

bool Report::run(const std::string& command) {
  // A link must be removed before: the shell would follow it.
  if (hasEnded_ || !claimReport(function_, path_)) return false;
  std::string discarded;  // empty: the shell writes the output into the report
  const bool started = cmdPopen(command + target_, discarded, maxReportBytes);
  endIfFull(1, command + target_);
  return started;
}

void Report::endIfFull(std::uintmax_t more, const std::string& text) {
  struct stat info {};
  if (hasEnded_ || lstat(path_.c_str(), &info) != 0) return;
  hasEnded_ = static_cast<std::uintmax_t>(info.st_size) + more > maxReportBytes;
  if (hasEnded_) {
    LOG_CALL_AS(function_, kWarn, "report {} ends at its limit of {} bytes; Reason: no room for all of: {}",
                path_, maxReportBytes.load(), text);
  }
}

}  // namespace quelmar::logutils::macos::details

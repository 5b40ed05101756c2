#include "sysinfo/report.h"

#include "logging/log_call.h"
#include "sysinfo/shell.h"

namespace quelmar::logutils::macos::details {

std::string sectionBanner(const std::string& title) {
  constexpr std::size_t kRuleWidth = 34;
  const std::string rule(kRuleWidth, '=');
  return rule + " " + title + " " + rule + "\n";
}

bool claimReport(const char* function, const std::string& path, utilities::Wanted wanted) {
  const std::error_code ec = utilities::discardForeignEntry(path, wanted);
  if (ec) {
    LOG_CALL_AS(function, kWarn, "report {} left out.; Reason: code:{} msg:{}", path, ec.value(),
                ec.message());
  }
  return !ec;
}

void appendBanner(const std::string& path, const std::string& title) {
  if (!utilities::discardForeignEntry(path)) out2File(path, sectionBanner(title));
}

bool appendOutput(const char* function, const std::string& path, const std::string& command) {
  std::string discarded;  // the shell puts the output into the report, through a link were there one
  return claimReport(function, path) && cmdPopen(command, discarded);
}

}  // namespace quelmar::logutils::macos::details

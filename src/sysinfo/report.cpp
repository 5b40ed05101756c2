#include "sysinfo/report.h"

namespace quelmar::logutils::macos::details {

std::string sectionBanner(const std::string& title) {
  constexpr std::size_t kRuleWidth = 34;
  const std::string rule(kRuleWidth, '=');
  return rule + " " + title + " " + rule + "\n";
}

}  // namespace quelmar::logutils::macos::details

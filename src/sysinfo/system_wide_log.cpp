#include "sysinfo/system_wide_log.h"

#include <array>

#include <boost/filesystem/path.hpp>

#include "logging/log_call.h"
#include "sysinfo/report.h"

namespace quelmar::logutils::macos {
namespace {

constexpr int kSpanMinutes = 10;
constexpr std::size_t kStampBufferBytes = 20;

std::string stamp(const std::tm& time) {
  std::array<char, kStampBufferBytes> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &time);
  return text.data();
}

}  // namespace

WideLogSpan wideLogSpan(std::time_t now) {
  std::tm time{};
  localtime_r(&now, &time);
  WideLogSpan span;
  span.end = stamp(time);
  time.tm_min -= kSpanMinutes;
  std::mktime(&time);
  span.start = stamp(time);
  return span;
}

void collectSystemWideLog(const std::string& folder, const platform::HostCommands& commands) {
  const WideLogSpan span = wideLogSpan(std::time(nullptr));
  const platform::WideLogQuery& query = commands.wideLog;
  const std::string path = (boost::filesystem::path(folder) / "system_wide.log").string();
  LOG_CALL(kInfo, "{}", "collectSystemWideLog start");
  details::Report report(__func__, path, path);
  const bool started =
      report.run(query.beforeStart + span.start + query.beforeEnd + span.end + query.beforeTarget);
  LOG_CALL(kInfo, "collectSystemWideLog done, ret={}", started);
}

void collectSystemWideLog(const std::string& folder) {
  collectSystemWideLog(folder, platform::hostCommands());
}

}  // namespace quelmar::logutils::macos

#include "tunnel/service_port.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "base/files.h"
#include "logging/logger.h"
#include "platform/users.h"

namespace quelmar {
namespace {

// Far more than a port file holds; a huge file at its path must not fill the memory.
constexpr std::size_t kMaxPortFileBytes = 64 * 1024;
constexpr long long kPortEnd = 65536;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

PortText parsePort(const std::string& content) {
  PortText text;
  std::copy_if(content.begin(), content.end(), std::back_inserter(text.digits),
               [](char c) { return c != ' ' && c != '\t' && c != '\n'; });
  text.isNumber = !text.digits.empty() && std::all_of(text.digits.begin(), text.digits.end(), isDigit);
  if (text.isNumber) {
    // strtoll returns its largest value for numbers that are too long, so none of them wraps into a valid port.
    const long long value = std::strtoll(text.digits.c_str(), nullptr, 10);
    if (value >= 1 && value < kPortEnd) text.port = static_cast<std::uint16_t>(value);
  }
  return text;
}

std::uint16_t getServicePortViaPath(const std::string& processName, const std::string& serviceName,
                                    const std::string& subFolder) {
  std::error_code ignored;
  const std::string folder = utilities::macos::getSharedDataPath(ignored) + "/var/run/";
  const std::string path = folder + (subFolder.empty() ? serviceName : subFolder + "/" + serviceName);
  const PortText text = parsePort(readRegularFile(path, kMaxPortFileBytes));
  if (!text.isNumber) {
    // One value fewer than placeholders: kept on purpose, a line on standard error appears in the record's place.
    LOG_CALL(kErr, "{}; Reason: process:{} ,service:{}, path:{}, content:{}",
             "get service port failed,content is empty or not digit", processName, serviceName, text.digits);
  } else if (text.port == 0) {
    LOG_CALL(kErr, "{}; Reason: process:{} ,service:{},path:{},content:{}",
             "get service port failed,the port is out of range", processName, serviceName, path, text.digits);
  } else {
    LOG_CALL(kDebug, "port file path:{},port:{}", path, text.port);
    return text.port;
  }
  LOG_CALL(kErr, "{}; Reason: process:{} ,service:{}", "get service port failed", processName, serviceName);
  return 0;
}

std::uint16_t getHttpDebugPort() {
  return getServicePortViaPath("oBrelaAgent", "debugserver", "");
}

}  // namespace quelmar

#include "tunnel/module_dump.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include <boost/exception/diagnostic_information.hpp>

#include "base/files.h"
#include "base/limits.h"
#include "logging/logger.h"
#include "platform/users.h"
#include "tunnel/http.h"

namespace quelmar {
namespace {

// Far more than a port file holds; a huge file at its path must not fill the memory.
constexpr std::size_t kMaxPortFileBytes = 64 * 1024;
constexpr long long kPortEnd = 65536;
constexpr std::uint16_t kDefaultDebugPort = 7777;
constexpr long kHttpOk = 200;
constexpr const char* kDumpFailed = "dump xtunnel failed.";

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

std::shared_ptr<NetworkReply> requestModules(std::uint16_t port, std::error_code& ec) {
  const URL url("http://127.0.0.1:" + std::to_string(port) + "/debug/modules");
  const auto request = NetworkRequest::create(nullptr);
  request->setTimeout(static_cast<unsigned int>(kLimits.tunnelExchange.count()));
  HttpHeaders headers;
  headers.set("Accept", "*/*");
  headers.set(HttpHeaders::KnownHeaders::kUserAgent, "oBrelaLogCollection");
  request->setHeaders(headers);
  NetworkOptions options;
  options.reusesConnection = false;
  request->setOptions(options);
  return request->send(ec, url);
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

void dumpXTunnelProc() {
  try {
    const std::uint16_t port = getHttpDebugPort();
    std::error_code ec;
    const auto reply = requestModules(port != 0 ? port : kDefaultDebugPort, ec);
    if (ec) {
      LOG_CALL(kErr, "{}; Reason: http reply failed, ec:{}", kDumpFailed, ec.message());
      return;
    }
    if (reply->getResponseCode() != kHttpOk) {
      LOG_CALL(kErr, "{}; Reason: http status {}", kDumpFailed, reply->getResponseCode());
      return;
    }
    LOG_CALL(kDump, "xtunnel dump:\n{}", reply->getBody());
    if (reply->isCut()) {
      LOG_CALL(kWarn, "xtunnel dump cut; Reason: only its first {} bytes are kept", reply->getBody().size());
    }
    Logger::GetInstance().flush();
  } catch (...) {
    LOG_CALL(kErr, "{}; Reason: exception:{}", kDumpFailed, boost::current_exception_diagnostic_information(true));
  }
}

}  // namespace quelmar

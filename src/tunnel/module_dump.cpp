#include "tunnel/module_dump.h"

#include <algorithm>
#include <charconv>

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
constexpr std::uint16_t kDefaultDebugPort = 7777;
constexpr long kHttpOk = 200;
constexpr const char* kDumpFailed = "dump xtunnel failed.";

std::shared_ptr<NetworkReply> requestModules(std::uint16_t port, std::error_code& ec) {
  const auto request = NetworkRequest::create(nullptr);
  request->setTimeout(static_cast<unsigned int>(kLimits.tunnelExchange.count()));
  HttpHeaders headers;
  headers.values["Accept"] = "*/*";
  headers.values[HttpHeaders::name(HttpHeaders::KnownHeaders::kUserAgent)] = "oBrelaLogCollection";
  request->setHeaders(headers);
  NetworkOptions options;
  options.reusesConnection = false;
  request->setOptions(options);
  return request->send(ec, URL("http://127.0.0.1:" + std::to_string(port) + "/debug/modules"));
}

}  // namespace

std::uint16_t getServicePortViaPath(const std::string& processName, const std::string& serviceName,
                                    const std::string& subFolder) {
  std::error_code ignored;
  const std::string folder = utilities::macos::getSharedDataPath(ignored) + "/var/run/";
  const std::string path = folder + (subFolder.empty() ? serviceName : subFolder + "/" + serviceName);
  std::string text = readRegularFile(path, kMaxPortFileBytes);
  const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\n'; };
  text.erase(std::remove_if(text.begin(), text.end(), isBlank), text.end());
  std::uint16_t port = 0;  // stays 0 when the number is larger
  const char* const end = text.data() + text.size();
  if (text.empty() || std::from_chars(text.data(), end, port).ptr != end) {
    // One value fewer than placeholders: kept on purpose, a line on standard error appears in the record's place.
    LOG_CALL(kErr, "{}; Reason: process:{} ,service:{}, path:{}, content:{}",
             "get service port failed,content is empty or not digit", processName, serviceName, text);
  } else if (port == 0) {
    LOG_CALL(kErr, "{}; Reason: process:{} ,service:{},path:{},content:{}",
             "get service port failed,the port is out of range", processName, serviceName, path, text);
  } else {
    LOG_CALL(kDebug, "port file path:{},port:{}", path, port);
    return port;
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
    if (reply->isCut) {
      LOG_CALL(kWarn, "xtunnel dump cut; Reason: only its first {} bytes are kept", reply->getBody().size());
    }
    Logger::GetInstance().flush();
  } catch (...) {
    LOG_CALL(kErr, "{}; Reason: exception:{}", kDumpFailed, boost::current_exception_diagnostic_information(true));
  }
}

}  // namespace quelmar

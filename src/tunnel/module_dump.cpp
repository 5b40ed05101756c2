#include "tunnel/module_dump.h"

#include <cstdint>
#include <string>

#include <boost/exception/diagnostic_information.hpp>

#include "base/limits.h"
#include "logging/logger.h"
#include "tunnel/http.h"
#include "tunnel/service_port.h"

namespace quelmar {
namespace {

constexpr std::uint16_t kDefaultDebugPort = 7777;
constexpr long kHttpOk = 200;
constexpr const char* kDumpFailed = "dump xtunnel failed.";

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

#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tunnel/trace_id.h"

namespace quelmar {

struct Cookie {
  std::string name;
  std::string value;
};

/// A cookie jar.
using CurlCookies = std::vector<Cookie>;

/// The options of a request, in the order and with the defaults that all of the client's programs share. This
/// tool sends one plain GET without cookies and uses only reusesConnection; the other fields are here because
/// the record is shared.
struct NetworkOptions {
  std::uint16_t version = 1;
  std::string interfaceName;
  bool verbose = false;
  std::int32_t idleSeconds = 120;
  bool verifyPeer = true;
  std::string certificatePath;
  bool useProxy = false;
  bool reusesConnection = true;  ///< false: the connection is closed after the exchange
  std::uint64_t rateLimit = 0;
  std::string traceId = generateTraceId();
  bool resume = false;
  bool followLocation = false;
  std::string proxyHost;
  std::string proxyUser;
  std::string proxyPassword;
  bool uploads = false;
  std::uint32_t resolveMode = 0;
  CurlCookies cookies;
  bool storesCookies = false;
};

}  // namespace quelmar

#include "tunnel/http_headers.h"

#include <array>
#include <cstddef>

namespace quelmar {
namespace {

// In the order of KnownHeaders.
constexpr std::array<const char*, 19> kNames = {"Content-Type",
                                                "Content-Length",
                                                "Location",
                                                "Last-Modified",
                                                "Cookie",
                                                "Set-Cookie",
                                                "Content-Disposition",
                                                "User-Agent",
                                                "Server",
                                                "If-Modified-Since",
                                                "ETag",
                                                "If-Match",
                                                "If-None-Match",
                                                "Transfer-Encoding",
                                                "Access-Control-Allow-Origin",
                                                "Referer",
                                                "Accept-Encoding",
                                                "Connection",
                                                "x-sdp-traceid"};

}  // namespace

HttpHeaders::HttpHeaders() {
  set(KnownHeaders::kContentType, "application/x-www-form-urlencoded");
  set(KnownHeaders::kUserAgent, "SPCClientType oBrelaTray");
  set(KnownHeaders::kConnection, "close");
}

const char* HttpHeaders::name(KnownHeaders header) {
  const auto index = static_cast<std::size_t>(header);
  return index < kNames.size() ? kNames[index] : "Unknown-Header";
}

}  // namespace quelmar

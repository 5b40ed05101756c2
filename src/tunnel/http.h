#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace quelmar {

/// HTTP headers: one value for each name; names are case-sensitive.
struct HttpHeaders {
  /// A known header's place in the table of names. Those that are used here have a name of their own.
  enum class KnownHeaders : int { kContentType = 0, kUserAgent = 7, kConnection = 17 };

  /// The header's name on the wire; "Unknown-Header" for a value outside the table.
  static const char* name(KnownHeaders header);

  /// By name; starts with the client's defaults.
  std::map<std::string, std::string> values{
      {name(KnownHeaders::kContentType), "application/x-www-form-urlencoded"},
      {name(KnownHeaders::kUserAgent), "SPCClientType oBrelaTray"},
      {name(KnownHeaders::kConnection), "close"},
  };
};

struct Cookie {
  std::string name, value;
};

using CurlCookies = std::vector<Cookie>;

/// 8 random characters out of "0123456789abcdef", of one generator, seeded with the time of the first call.
/// Not thread-safe.
std::string generateTraceId();

/// The options that all of the client's programs share, in their order. This tool uses only reusesConnection.
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
  bool resume = false, followLocation = false;
  std::string proxyHost, proxyUser, proxyPassword;
  bool uploads = false;
  std::uint32_t resolveMode = 0;
  CurlCookies cookies;
  bool storesCookies = false;
};

struct URL {
  explicit URL(std::string address) : text(std::move(address)) {}

  std::string text;
};

/// The response of an exchange.
struct NetworkReply {
  [[nodiscard]] long getResponseCode() const { return responseCode; }
  [[nodiscard]] const std::string& getBody() const { return body; }

  long responseCode = 0;
  std::string body;             ///< at most its first 4 MiB
  bool isCut = false;           ///< whether the body was longer
  std::size_t headerBytes = 0;  ///< of all headers
};

/// Shared state of many requests; this tool sends one, and passes none.
class NetworkManager;

/// One HTTP GET. Proxies that the environment names are not used, redirects not followed, no signals used.
class NetworkRequest {
 public:
  /// Makes a request with the default headers and options and without a time limit.
  static std::shared_ptr<NetworkRequest> create(const std::shared_ptr<NetworkManager>& /*manager*/) {
    return std::make_shared<NetworkRequest>();
  }

  /// Sets the time limit of the whole exchange, connecting included, in seconds; 0 for none.
  void setTimeout(unsigned int seconds) { timeoutSeconds_ = seconds; }
  void setHeaders(const HttpHeaders& headers) { headers_ = headers; }
  void setOptions(const NetworkOptions& options) { options_ = options; }

  /// Performs the exchange. Blocks until it has ended or the time limit has passed.
  /// @param ec  cleared, then set to the transport error: bad address, connection refused, timed out, no HTTP, or
  ///            headers of more than 256 KiB, which end the exchange
  /// @return the reply, or null when `ec` is set. A status other than 200 is a reply, not an error.
  std::shared_ptr<NetworkReply> send(std::error_code& ec, const URL& url);

 private:
  unsigned int timeoutSeconds_ = 0;
  HttpHeaders headers_;
  NetworkOptions options_;
};

}  // namespace quelmar

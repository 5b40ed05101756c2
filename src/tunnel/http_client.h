#pragma once

#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "tunnel/http_headers.h"
#include "tunnel/network_options.h"

namespace quelmar {

/// A parsed address. Only absolute "http" addresses with a host are valid.
class URL {
 public:
  /// Parses an address; isValid() tells whether that succeeded.
  explicit URL(const std::string& address);

  /// Whether a request can be sent there.
  [[nodiscard]] bool isValid() const { return valid_; }
  /// The address as it was given.
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
  bool valid_ = false;
};

/// The response of an exchange.
class NetworkReply {
 public:
  /// @param responseCode  the HTTP status code.
  /// @param isCut         whether `body` is only the beginning of the response's body.
  NetworkReply(long responseCode, std::string body, bool isCut)
      : responseCode_(responseCode), body_(std::move(body)), isCut_(isCut) {}

  /// The HTTP status code.
  [[nodiscard]] long getResponseCode() const { return responseCode_; }
  /// The body, or its first 4 MiB.
  [[nodiscard]] const std::string& getBody() const { return body_; }
  /// Whether the body was longer than 4 MiB.
  [[nodiscard]] bool isCut() const { return isCut_; }

 private:
  long responseCode_;
  std::string body_;
  bool isCut_;
};

/// The category of transport errors: libcurl's codes, with its messages.
const std::error_category& transportCategory();

/// Shared state of many requests; this tool sends one, and passes none.
class NetworkManager;

/// One HTTP GET. Proxies that the environment names are not used, redirects not followed, no signals used.
/// Not for two threads at a time.
class NetworkRequest {
 public:
  /// Makes a request without headers, with default options and without a time limit.
  /// @param manager  not used; may be null.
  static std::shared_ptr<NetworkRequest> create(const std::shared_ptr<NetworkManager>& manager);

  /// Sets the time limit of the whole exchange, connecting included, in seconds; 0 for none.
  void setTimeout(unsigned int seconds) { timeoutSeconds_ = seconds; }
  /// Replaces the headers to send.
  void setHeaders(const HttpHeaders& headers) { headers_ = headers; }
  /// Replaces the options.
  void setOptions(const NetworkOptions& options) { options_ = options; }

  /// Performs the exchange. Blocks until it has ended or the time limit has passed. At most 4 MiB of the body
  /// are received.
  /// @param ec  cleared, then set to the transport error: bad address, connection refused, timed out, no
  ///            HTTP, or headers of more than 256 KiB, which end the exchange.
  /// @return the reply, or null when `ec` is set. A status other than 200 is a reply, not an error.
  std::shared_ptr<NetworkReply> send(std::error_code& ec, const URL& url);

 private:
  unsigned int timeoutSeconds_ = 0;
  HttpHeaders headers_;
  NetworkOptions options_;
};

}  // namespace quelmar

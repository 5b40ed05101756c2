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
  /// Parses an address; isValid() tells whether it could be.
  explicit URL(const std::string& address);

  /// Whether a request can be sent there.
  [[nodiscard]] bool isValid() const { return valid_; }
  /// The address as it was given.
  [[nodiscard]] const std::string& text() const { return text_; }

 private:
  std::string text_;
  bool valid_ = false;
};

/// What came back from an exchange.
class NetworkReply {
 public:
  /// @param responseCode  the HTTP status code.
  /// @param isCut         whether there was more than `body`.
  NetworkReply(long responseCode, std::string body, bool isCut)
      : responseCode_(responseCode), body_(std::move(body)), isCut_(isCut) {}

  /// The HTTP status code.
  [[nodiscard]] long getResponseCode() const { return responseCode_; }
  /// The body, or its first 4 MiB.
  [[nodiscard]] const std::string& getBody() const { return body_; }
  /// Whether the body was longer than that.
  [[nodiscard]] bool isCut() const { return isCut_; }

 private:
  long responseCode_;
  std::string body_;
  bool isCut_;
};

/// Transport failures as error codes; messages are the transfer library's own.
const std::error_category& transportCategory();

/// Shared state of many requests; this tool sends one, and passes none.
class NetworkManager;

/// One HTTP exchange: a GET, sent straight to the address whatever proxies the environment names, redirects
/// not followed, no signals used. Not for use by two threads at a time.
class NetworkRequest {
 public:
  /// Makes a request without headers, with default options and without a limit.
  /// @param manager  may be null.
  static std::shared_ptr<NetworkRequest> create(const std::shared_ptr<NetworkManager>& manager);

  /// @param seconds  limit of the whole exchange, connecting included; 0 sets none.
  void setTimeout(unsigned int seconds) { timeoutSeconds_ = seconds; }
  /// Replaces the headers to send.
  void setHeaders(const HttpHeaders& headers) { headers_ = headers; }
  /// Replaces the options.
  void setOptions(const NetworkOptions& options) { options_ = options; }

  /// Performs the exchange and blocks until it has ended or the limit has passed. Of the body no more than 4
  /// MiB are received.
  /// @param ec  cleared, then set to the transport's error: bad address, refused, timed out, no HTTP, and
  ///            also headers over 256 KiB, which end the exchange.
  /// @return the reply, or null when `ec` is set. A status other than 200 is a reply, not an error.
  std::shared_ptr<NetworkReply> send(std::error_code& ec, const URL& url);

 private:
  unsigned int timeoutSeconds_ = 0;
  HttpHeaders headers_;
  NetworkOptions options_;
};

}  // namespace quelmar

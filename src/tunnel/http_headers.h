#pragma once

#include <map>
#include <string>

namespace quelmar {

/// HTTP headers: one value for each name, ordered by name; names are case-sensitive.
class HttpHeaders {
 public:
  enum class KnownHeaders : int {
    kContentType,
    kContentLength,
    kLocation,
    kLastModified,
    kCookie,
    kSetCookie,
    kContentDisposition,
    kUserAgent,
    kServer,
    kIfModifiedSince,
    kETag,
    kIfMatch,
    kIfNoneMatch,
    kTransferEncoding,
    kAccessControlAllowOrigin,
    kReferer,
    kAcceptEncoding,
    kConnection,
    kTraceId,
  };

  /// Starts with "Content-Type", "User-Agent" and "Connection", set to the client's defaults.
  HttpHeaders();

  /// The header's name on the wire; "Unknown-Header" for a value outside the enumeration.
  static const char* name(KnownHeaders header);

  /// Sets a header, replacing the value it had.
  void set(const std::string& headerName, const std::string& value) { values_[headerName] = value; }
  /// As above, with the name of a known header.
  void set(KnownHeaders header, const std::string& value) { set(name(header), value); }

  /// All headers, ordered by name.
  [[nodiscard]] const std::map<std::string, std::string>& values() const { return values_; }

 private:
  std::map<std::string, std::string> values_;
};

}  // namespace quelmar

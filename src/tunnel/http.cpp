#include "tunnel/http.h"

#include <algorithm>
#include <ctime>
#include <new>

#include <boost/random/mersenne_twister.hpp>
#include <boost/random/uniform_int_distribution.hpp>
#include <curl/curl.h>

namespace quelmar {
namespace {

constexpr const char* kHeaderNames[] = {  // KnownHeaders is the index
    "Content-Type",
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

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::size_t kTraceIdLength = 8;

// Small enough for the tool's own log, which is capped at 20 MiB, and for little memory.
constexpr std::size_t kMaxBodyBytes = 4 * 1024 * 1024;
constexpr std::size_t kMaxHeaderBytes = 256 * 1024;

using EasyHandle = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

/// Transport errors: libcurl's codes, with its messages.
class TransportCategory : public std::error_category {
 public:
  [[nodiscard]] const char* name() const noexcept override { return "transport"; }
  [[nodiscard]] std::string message(int code) const override { return curl_easy_strerror(static_cast<CURLcode>(code)); }
};

std::error_code transportError(CURLcode code) {
  static const auto* const kCategory = new TransportCategory;
  return {static_cast<int>(code), *kCategory};
}

// Called by libcurl: returning less than it has passed ends the exchange, and nothing may be thrown.
std::size_t onBody(const char* data, std::size_t size, std::size_t count, void* user) noexcept try {
  auto* const reply = static_cast<NetworkReply*>(user);
  const std::size_t bytes = std::min(size * count, kMaxBodyBytes - reply->body.size());
  reply->body.append(data, bytes);
  reply->isCut = bytes < size * count;
  return bytes;
} catch (const std::bad_alloc&) {
  return 0;
}

std::size_t onHeader(const char* /*data*/, std::size_t size, std::size_t count, void* user) noexcept {
  auto* const reply = static_cast<NetworkReply*>(user);
  reply->headerBytes += size * count;
  return reply->headerBytes <= kMaxHeaderBytes ? size * count : 0;
}

HeaderList headerList(const HttpHeaders& headers) {
  HeaderList list(nullptr, &curl_slist_free_all);
  for (const auto& [name, value] : headers.values) {
    curl_slist* const longer = curl_slist_append(list.get(), (name + ": " + value).c_str());
    if (longer == nullptr) throw std::bad_alloc();
    if (!list) list.reset(longer);  // it stays the first element
  }
  return list;
}

}  // namespace

const char* HttpHeaders::name(KnownHeaders header) {
  const auto index = static_cast<std::size_t>(header);
  return index < std::size(kHeaderNames) ? kHeaderNames[index] : "Unknown-Header";
}

std::string generateTraceId() {
  static boost::random::mt19937 generator(static_cast<boost::random::mt19937::result_type>(std::time(nullptr)));
  const boost::random::uniform_int_distribution<std::size_t> index(0, sizeof(kDigits) - 2);
  std::string id;
  while (id.size() < kTraceIdLength) id += kDigits[index(generator)];
  return id;
}

std::shared_ptr<NetworkReply> NetworkRequest::send(std::error_code& ec, const URL& url) {
  ec.clear();
  const EasyHandle handle(curl_easy_init(), &curl_easy_cleanup);
  if (!handle) {
    ec = transportError(CURLE_FAILED_INIT);
    return nullptr;
  }
  CURL* const curl = handle.get();
  const HeaderList headers = headerList(headers_);
  auto reply = std::make_shared<NetworkReply>();
  curl_easy_setopt(curl, CURLOPT_URL, url.text.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(curl, CURLOPT_TIMEOUT, static_cast<long>(timeoutSeconds_));
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  // Older versions of libcurl take any answer without headers for HTTP 0.9.
  curl_easy_setopt(curl, CURLOPT_HTTP09_ALLOWED, 0L);
  // An empty text: not one that the environment names, either.
  curl_easy_setopt(curl, CURLOPT_PROXY, "");
  curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, options_.reusesConnection ? 0L : 1L);
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &onBody);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, reply.get());
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &onHeader);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, reply.get());
  const CURLcode outcome = curl_easy_perform(curl);
  if (outcome != CURLE_OK && !reply->isCut) {
    ec = transportError(outcome);
    return nullptr;
  }
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply->responseCode);
  return reply;
}

}  // namespace quelmar

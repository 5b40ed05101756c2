#include "app/result_codes.h"

#include <array>
#include <cstddef>

namespace quelmar {
namespace {

constexpr std::array<const char*, 5> kMessages = {
    "collect logs success", "specific exception", "unknown exception", "rpc with obrela tunnel disconnected",
    "http status != 200",
};

}  // namespace

const _collection_category& _collection_category::instance() {
  static const _collection_category kInstance;
  return kInstance;
}

const char* _collection_category::name() const noexcept {
  return "collection_category";
}

std::string _collection_category::message(int code) const {
  const auto index = static_cast<std::size_t>(code);
  return index < kMessages.size() ? kMessages[index] : "unknown error, error code is not defined";
}

const std::error_category& collection_category() {
  return _collection_category::instance();
}

}  // namespace quelmar

#include "tunnel/trace_id.h"

#include <ctime>
#include <mutex>

#include <boost/random/mersenne_twister.hpp>
#include <boost/random/uniform_int_distribution.hpp>

namespace quelmar {
namespace {

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::size_t kTraceIdLength = 8;

}  // namespace

std::string generateTraceId() {
  static boost::random::mt19937 generator(
      static_cast<boost::random::mt19937::result_type>(std::time(nullptr)));
  static std::mutex mutex;
  const std::lock_guard<std::mutex> lock(mutex);
  const boost::random::uniform_int_distribution<std::size_t> index(0, sizeof(kDigits) - 2);
  std::string id;
  while (id.size() < kTraceIdLength) id += kDigits[index(generator)];
  return id;
}

}  // namespace quelmar

// In place of src/base/limits.cpp: each limit is a sixth of the product's, so that a test of what hangs need not wait
// as long, and still sees when one of them is another.
#define kLimits kProductLimits
#include "../../src/base/limits.cpp"
#undef kLimits

namespace quelmar {

extern const Limits kLimits;
const Limits kLimits = [] {
  Limits limits = kProductLimits;
  using std::chrono::seconds;
  static_assert(sizeof limits % sizeof(seconds) == 0, "it holds nothing else");
  for (auto* one = reinterpret_cast<seconds*>(&limits); one != reinterpret_cast<void*>(&limits + 1); ++one)
    *one = (*one + seconds(5)) / 6;
  return limits;
}();

}  // namespace quelmar

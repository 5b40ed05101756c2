#include "base/limits.h"

namespace quelmar {

using namespace std::chrono_literals;

// Nothing else stands in this file: the linker leaves it out where another definition comes first.
const Limits kLimits = {60s, 30s, 30s, 5s, 5s, 5s, 10s, 10s, 30s};

}  // namespace quelmar

#pragma once

#include <string>

namespace quelmar {

/// Makes a random trace id: 8 characters out of "0123456789abcdef". All ids of a process come from one
/// generator, seeded with the time of the first call in seconds. Thread-safe.
std::string generateTraceId();

}  // namespace quelmar

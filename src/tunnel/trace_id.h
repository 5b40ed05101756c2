#pragma once

#include <string>

namespace quelmar {

/// A new trace id: 8 characters out of "0123456789abcdef". The ids of a process come from one generator,
/// seeded with the calendar time in seconds when the first is drawn. Thread-safe.
std::string generateTraceId();

}  // namespace quelmar

#pragma once

#include <string>

#include <CoreFoundation/CoreFoundation.h>

namespace quelmar::platform {

/// Converts a Core Foundation string to UTF-8.
/// @param text  the string, borrowed; must not be null.
/// @param out   receives the converted text; unchanged when the result is false.
/// @return false when there is not enough memory or the string cannot be converted (an unpaired surrogate).
bool utf8Text(CFStringRef text, std::string& out);

}  // namespace quelmar::platform

#pragma once

#include <string>

#include <CoreFoundation/CoreFoundation.h>

namespace quelmar::platform {

/// Converts a Core Foundation string to UTF-8.
/// @param text  the string, borrowed; must not be null.
/// @param out   receives the converted text; untouched when the answer is false.
/// @return false when there is no memory for it or the string has no UTF-8 form (an unpaired surrogate).
bool utf8Text(CFStringRef text, std::string& out);

}  // namespace quelmar::platform

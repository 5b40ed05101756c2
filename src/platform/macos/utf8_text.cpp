#include "platform/macos/utf8_text.h"

#include <cstdlib>

#include "base/scope_guard.h"

namespace quelmar::platform {

bool utf8Text(CFStringRef text, std::string& out) {
  char* buffer = nullptr;
  ScopeGuard freeBuffer([&buffer] { std::free(buffer); });
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8);
  // For a text that is too long the size is -1: the buffer then has no bytes and the conversion fails.
  buffer = static_cast<char*>(std::calloc(static_cast<std::size_t>(size + 1), 1));
  if (buffer == nullptr) return false;
  if (!CFStringGetCString(text, buffer, size + 1, kCFStringEncodingUTF8)) return false;
  out = buffer;
  return true;
}

}  // namespace quelmar::platform

#include "platform/console_user.h"

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include "base/scope_guard.h"
#include "platform/macos/utf8_text.h"

namespace quelmar::process {

bool getCurrentLoginUser(std::string& user) {
  user.clear();
  const CFStringRef name = SCDynamicStoreCopyConsoleUser(nullptr, nullptr, nullptr);
  if (name == nullptr) return false;
  ScopeGuard releaseName([name] { CFRelease(name); });
  return platform::utf8Text(name, user);
}

}  // namespace quelmar::process

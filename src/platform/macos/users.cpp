#include "platform/users.h"

#include <memory>
#include <new>

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>

#include "base/threads.h"

// Foundation's header needs an Objective-C compiler, but the function is plain C, and its NSArray of NSString can be
// used as a CFArray of CFString. No public header declares the other two, which are @autoreleasepool.
extern "C" {
#if __OBJC_BOOL_IS_BOOL  // defined by the compiler: true on Apple silicon, not on Intel
typedef bool ObjcBool;
#else
typedef signed char ObjcBool;
#endif
CFArrayRef NSSearchPathForDirectoriesInDomains(unsigned long directory, unsigned long domainMask, ObjcBool expandTilde);
void* objc_autoreleasePoolPush(void);
void objc_autoreleasePoolPop(void* pool);
}

namespace {

constexpr unsigned long kUserDomain = 1;
constexpr unsigned long kLocalDomain = 2;
constexpr ObjcBool kExpandTilde = true;

/// Converts a string to UTF-8. @return false, with `out` unchanged, for want of memory or for an unpaired surrogate
bool utf8Text(CFStringRef text, std::string& out) {
  const CFIndex size = CFStringGetMaximumSizeForEncoding(CFStringGetLength(text), kCFStringEncodingUTF8);
  // For a text that is too long the size is -1: the buffer then has no bytes and the conversion fails.
  const std::unique_ptr<char[]> buffer(new (std::nothrow) char[static_cast<std::size_t>(size + 1)]());
  if (!buffer || !CFStringGetCString(text, buffer.get(), size + 1, kCFStringEncodingUTF8)) return false;
  out = buffer.get();
  return true;
}

void firstFolder(unsigned long kind, unsigned long domain, std::string& out) {
  out.clear();
  // The returned objects are autoreleased, and a plain C++ program has no pool.
  void* const pool = objc_autoreleasePoolPush();
  quelmar::ScopeGuard drain([pool] { objc_autoreleasePoolPop(pool); });
  const CFArrayRef folders = NSSearchPathForDirectoriesInDomains(kind, domain, kExpandTilde);
  if (folders == nullptr || CFArrayGetCount(folders) == 0) return;
  utf8Text(static_cast<CFStringRef>(CFArrayGetValueAtIndex(folders, 0)), out);
}

}  // namespace

namespace common::mac {

struct FoundationUtil {
  static constexpr unsigned long kApplicationSupport = 14;

  /// @param kind  the folder's NSSearchPathDirectory number
  /// @param out   receives the first answer (absolute, UTF-8, no trailing separator); empty when there is none
  static void getUserDirectory(unsigned long kind, std::string& out) { firstFolder(kind, kUserDomain, out); }
  static void getLocalDirectory(unsigned long kind, std::string& out) { firstFolder(kind, kLocalDomain, out); }
};

}  // namespace common::mac

namespace quelmar {

using common::mac::FoundationUtil;

const uid_t platform::kFirstPerson = 500;

bool process::getCurrentLoginUser(std::string& user) {
  user.clear();
  const CFStringRef name = SCDynamicStoreCopyConsoleUser(nullptr, nullptr, nullptr);
  if (name == nullptr) return false;
  ScopeGuard releaseName([name] { CFRelease(name); });
  return utf8Text(name, user);
}

std::string platform::userApplicationSupport() {
  std::string folder;
  FoundationUtil::getUserDirectory(FoundationUtil::kApplicationSupport, folder);
  return folder;
}

std::string platform::machineApplicationSupport() {
  std::string folder;
  FoundationUtil::getLocalDirectory(FoundationUtil::kApplicationSupport, folder);
  return folder;
}

}  // namespace quelmar

#include "platform/macos/foundation_util.h"

#include <CoreFoundation/CoreFoundation.h>

#include "base/scope_guard.h"
#include "platform/macos/utf8_text.h"

// Foundation's header needs an Objective-C compiler, but the function is plain C, and the NSArray of NSString
// that it returns can be used as a CFArray of CFString. The two functions of the autorelease pool are what
// the compiler calls for @autoreleasepool; no public header declares them.
extern "C" {
#if __OBJC_BOOL_IS_BOOL  // defined by the compiler: true on Apple silicon, not on Intel
typedef bool ObjcBool;
#else
typedef signed char ObjcBool;
#endif
CFArrayRef NSSearchPathForDirectoriesInDomains(unsigned long directory, unsigned long domainMask,
                                               ObjcBool expandTilde);
void* objc_autoreleasePoolPush(void);
void objc_autoreleasePoolPop(void* pool);
}

namespace common::mac {
namespace {

constexpr unsigned long kUserDomain = 1;
constexpr unsigned long kLocalDomain = 2;
// Otherwise the user's folders begin with '~', which file functions do not expand.
constexpr ObjcBool kExpandTilde = true;

void firstDirectory(unsigned long kind, unsigned long domain, std::string& out) {
  out.clear();
  // The returned objects are autoreleased. A plain C++ program has no pool, so without this one they would
  // live until the thread ends.
  void* const pool = objc_autoreleasePoolPush();
  quelmar::ScopeGuard drain([pool] { objc_autoreleasePoolPop(pool); });
  const CFArrayRef folders = NSSearchPathForDirectoriesInDomains(kind, domain, kExpandTilde);
  if (folders == nullptr || CFArrayGetCount(folders) == 0) return;
  quelmar::platform::utf8Text(static_cast<CFStringRef>(CFArrayGetValueAtIndex(folders, 0)), out);
}

}  // namespace

void FoundationUtil::getUserDirectory(unsigned long kind, std::string& out) {
  firstDirectory(kind, kUserDomain, out);
}

void FoundationUtil::getLocalDirectory(unsigned long kind, std::string& out) {
  firstDirectory(kind, kLocalDomain, out);
}

}  // namespace common::mac

#include "platform/macos/foundation_util.h"

#include <CoreFoundation/CoreFoundation.h>

#include "base/scope_guard.h"
#include "platform/macos/utf8_text.h"

// Foundation's own header needs an Objective-C compiler, the function does not: it is plain C, and the
// NSArray of NSString that it answers is a CFArray of CFString to whoever asks through Core Foundation. The
// pool's two functions are the compiler's interface to the Objective-C runtime and have no public header at
// all.
extern "C" {
#if __OBJC_BOOL_IS_BOOL  // the compiler tells: it is on Apple silicon, not on Intel
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
// Without it the user's folders begin with '~', which no file function understands.
constexpr ObjcBool kExpandTilde = true;

void firstDirectory(unsigned long kind, unsigned long domain, std::string& out) {
  out.clear();
  // The answer belongs to the innermost pool, and a plain C++ program has none: without this one, what the
  // service makes would stay until the thread ends.
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

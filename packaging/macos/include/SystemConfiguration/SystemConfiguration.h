#pragma once

// The one declaration of System Configuration that the tool uses; see CoreFoundation.h beside it.

#include <CoreFoundation/CoreFoundation.h>
#include <sys/types.h>

extern "C" {

typedef const struct __SCDynamicStore* SCDynamicStoreRef;

CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef store, uid_t* uid, gid_t* gid);

}  // extern "C"

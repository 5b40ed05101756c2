#pragma once

// The few declarations of Core Foundation that the tool uses, written for machines that have no macOS SDK:
// the cross build and the tests of the macOS platform sources. A Mac uses the SDK's own header.

extern "C" {

typedef long CFIndex;
typedef unsigned char Boolean;
typedef unsigned int CFStringEncoding;
typedef const void* CFTypeRef;
typedef const struct __CFArray* CFArrayRef;
typedef const struct __CFString* CFStringRef;

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };

void CFRelease(CFTypeRef object);

CFIndex CFArrayGetCount(CFArrayRef array);
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index);

CFIndex CFStringGetLength(CFStringRef text);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex bufferSize, CFStringEncoding encoding);

}  // extern "C"

#include <cstring>
#include <map>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <gtest/gtest.h>

#include "platform/users.h"

namespace {

using Folders = std::vector<std::string>;

const std::string kBroken = "an unpaired surrogate";

// What the frameworks below answer with.
const std::string* consoleUser = nullptr;
std::map<unsigned long, Folders> folders;  // by domain
int pools = 0;                             // that are open

const std::string& textOf(CFStringRef text) {
  return *reinterpret_cast<const std::string*>(text);
}

}  // namespace

extern "C" {

CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef /*store*/, uid_t* /*uid*/, gid_t* /*gid*/) {
  return reinterpret_cast<CFStringRef>(consoleUser);
}

void CFRelease(CFTypeRef /*object*/) {}

CFIndex CFStringGetLength(CFStringRef text) {
  return static_cast<CFIndex>(textOf(text).size() + 2) / 3;  // in UTF-16, where it can be this short
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding /*encoding*/) {
  return 3 * length;
}

Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  EXPECT_EQ(encoding, 0x08000100U);
  if (textOf(text) == kBroken || static_cast<std::size_t>(bufferSize) <= textOf(text).size()) return 0;
  std::strcpy(buffer, textOf(text).c_str());
  return 1;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(reinterpret_cast<const Folders*>(array)->size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  EXPECT_EQ(pools, 1) << "what is read belongs to a pool";
  return &reinterpret_cast<const Folders*>(array)->at(static_cast<std::size_t>(index));
}

void* objc_autoreleasePoolPush() {
  return ++pools, &pools;
}

void objc_autoreleasePoolPop(void* /*pool*/) {
  --pools;
}

CFArrayRef NSSearchPathForDirectoriesInDomains(unsigned long kind, unsigned long domain, signed char expandTilde) {
  EXPECT_TRUE(kind == 14 && expandTilde != 0);
  return folders.count(domain) == 0 ? nullptr : reinterpret_cast<CFArrayRef>(&folders[domain]);
}

}  // extern "C"

namespace quelmar::platform {

TEST(MacosPlatform, ConsoleUserComesWholeInAnyScriptOrNotAtAll) {
  for (const std::string name : {"J\u00fcrgen", "\u20ac\u20ac\u20ac", "\U0001F431", "", "nobody", kBroken.c_str()}) {
    consoleUser = name == "nobody" ? nullptr : &name;
    const bool isName = consoleUser != nullptr && name != kBroken;
    std::string text = "stale";
    EXPECT_EQ(process::getCurrentLoginUser(text), isName) << name;
    EXPECT_EQ(text, isName ? name : "");
  }
}

TEST(MacosPlatform, FoldersAreTheFirstAnswerOfTheirDomainOrEmpty) {
  folders = {{1, {"/Users/J\u00fcrgen", "/elsewhere"}}, {2, {"/Library"}}};
  EXPECT_EQ(userApplicationSupport(), folders[1][0]);
  EXPECT_EQ(machineApplicationSupport(), "/Library");
  folders = {{2, {}}};
  EXPECT_EQ(userApplicationSupport() + machineApplicationSupport(), "");
}

}  // namespace quelmar::platform

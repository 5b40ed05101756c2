#include <cstring>
#include <map>
#include <vector>

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <gtest/gtest.h>

#include "platform/users.h"

namespace {

using Folders = std::vector<std::string>;

// What the frameworks below answer with, and what they were asked.
const std::string* consoleUser = nullptr;
bool conversionFails = false;
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
  CFIndex units = 0;  // of UTF-16: two for what takes four bytes in UTF-8
  for (const char c : textOf(text)) units += (c & 0xC0) == 0x80 ? 0 : (c & 0xF8) == 0xF0 ? 2 : 1;
  return units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding /*encoding*/) {
  return 3 * length;
}

Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  EXPECT_EQ(encoding, 0x08000100U);
  const std::size_t needed = textOf(text).size() + 1;
  if (conversionFails || static_cast<std::size_t>(bufferSize) < needed) return 0;
  std::memcpy(buffer, textOf(text).c_str(), needed);
  return 1;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  return static_cast<CFIndex>(reinterpret_cast<const Folders*>(array)->size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  EXPECT_GT(pools, 0) << "what is read belongs to a pool";
  return &reinterpret_cast<const Folders*>(array)->at(static_cast<std::size_t>(index));
}

void* objc_autoreleasePoolPush() {
  ++pools;
  return &pools;
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
  for (const std::string name : {"anna", "J\u00fcrgen", "\u20ac\u20ac\u20ac\u20ac", "\U0001F431", ""}) {
    for (const auto& [pointer, fails] : {std::pair(&name, false), {&name, true}, {nullptr, false}}) {
      consoleUser = pointer;
      conversionFails = fails;
      std::string text = "stale";
      EXPECT_EQ(process::getCurrentLoginUser(text), pointer != nullptr && !fails);
      EXPECT_EQ(text, pointer != nullptr && !fails ? name : "");
    }
  }
}

TEST(MacosPlatform, FoldersAreTheFirstAnswerOfTheirDomainOrEmpty) {
  for (const Folders& answer : {Folders{"/Users/J\u00fcrgen", "/elsewhere"}, Folders{}}) {
    folders = {{1, answer}, {2, {"/Library"}}};
    EXPECT_EQ(userApplicationSupport(), answer.empty() ? "" : answer[0]);
    EXPECT_EQ(machineApplicationSupport(), "/Library");
    folders.clear();
    EXPECT_EQ(machineApplicationSupport(), "");
  }
}

}  // namespace quelmar::platform

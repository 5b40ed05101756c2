#include "platform/fake_frameworks.h"

#include <cstring>
#include <memory>

#include <CoreFoundation/CoreFoundation.h>
#include <SystemConfiguration/SystemConfiguration.h>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <libproc.h>
#include <spawn.h>

struct __CFString {
  std::string utf8;
};
struct __CFArray {
  std::vector<std::unique_ptr<__CFString>> items;
};

FakeFrameworks& frameworks() {
  static FakeFrameworks state;
  return state;
}

extern "C" {

CFStringRef SCDynamicStoreCopyConsoleUser(SCDynamicStoreRef store, uid_t* uid, gid_t* gid) {
  EXPECT_TRUE(store == nullptr && uid == nullptr && gid == nullptr);
  if (!frameworks().somebodyAtConsole) return nullptr;
  const auto* name = new __CFString{frameworks().consoleUser};
  frameworks().alive.insert(name);
  return name;
}

void CFRelease(CFTypeRef object) {
  ASSERT_EQ(frameworks().alive.erase(object), 1U) << "released twice, or not the caller's";
  delete static_cast<CFStringRef>(object);
}

CFIndex CFStringGetLength(CFStringRef text) {
  EXPECT_TRUE(frameworks().alive.count(text));
  CFIndex units = 0;  // of UTF-16: two for what takes four bytes in UTF-8
  for (const char c : text->utf8) units += (c & 0xC0) == 0x80 ? 0 : (c & 0xF8) == 0xF0 ? 2 : 1;
  return units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding) {
  EXPECT_EQ(encoding, 0x08000100U);
  return 3 * length;
}

Boolean CFStringGetCString(CFStringRef text, char* buffer, CFIndex bufferSize, CFStringEncoding encoding) {
  EXPECT_TRUE(frameworks().alive.count(text));
  EXPECT_EQ(encoding, 0x08000100U);
  const std::size_t needed = text->utf8.size() + 1;
  if (frameworks().conversionFails || static_cast<std::size_t>(bufferSize) < needed) return 0;
  std::memcpy(buffer, text->utf8.c_str(), needed);
  return 1;
}

CFIndex CFArrayGetCount(CFArrayRef array) {
  EXPECT_TRUE(frameworks().alive.count(array));
  return static_cast<CFIndex>(array->items.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) {
  EXPECT_TRUE(frameworks().alive.count(array));
  return array->items.at(static_cast<std::size_t>(index)).get();
}

void* objc_autoreleasePoolPush() {
  frameworks().pools.emplace_back();
  return &frameworks().pools;
}

void objc_autoreleasePoolPop(void* pool) {
  ASSERT_EQ(pool, &frameworks().pools);
  for (const void* object : frameworks().pools.back()) {
    frameworks().alive.erase(object);
    for (const auto& item : static_cast<CFArrayRef>(object)->items) frameworks().alive.erase(item.get());
    delete static_cast<CFArrayRef>(object);
  }
  frameworks().pools.pop_back();
}

CFArrayRef NSSearchPathForDirectoriesInDomains(unsigned long kind, unsigned long domain,
                                               signed char expandTilde) {
  frameworks().askedKind = kind;
  frameworks().askedForTilde = expandTilde == 0;
  const auto found = frameworks().folders.find(domain);
  if (found == frameworks().folders.end()) return nullptr;
  auto* array = new __CFArray;
  for (const std::string& folder : found->second) {
    array->items.push_back(std::make_unique<__CFString>(__CFString{folder}));
    frameworks().alive.insert(array->items.back().get());
  }
  frameworks().alive.insert(array);
  if (!frameworks().pools.empty()) frameworks().pools.back().push_back(array);
  return array;
}

int proc_listallpids(void* buffer, int bufferBytes) {
  const auto& processes = frameworks().processes;
  EXPECT_LE(processes.size() * sizeof(pid_t), static_cast<std::size_t>(bufferBytes));
  auto* next = static_cast<pid_t*>(buffer);
  for (const auto& [pid, parent] : processes) *next++ = pid;
  return frameworks().processesAnswer;
}

int proc_pidinfo(int pid, int flavor, std::uint64_t /*argument*/, void* buffer, int bufferBytes) {
  EXPECT_EQ(flavor, PROC_PIDT_SHORTBSDINFO);
  const auto found = frameworks().processes.find(pid);
  if (found == frameworks().processes.end() || found->second < 0) return 0;
  static_cast<proc_bsdshortinfo*>(buffer)->pbsi_ppid = static_cast<std::uint32_t>(found->second);
  return bufferBytes;
}

int posix_spawn_file_actions_addinherit_np(posix_spawn_file_actions_t* /*actions*/, int fd) {
  frameworks().handedOn.push_back(fd);
  return 0;
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const arguments[], char* const environment[]) {
  if (frameworks().spawnError != 0) return frameworks().spawnError;
  static const auto real = reinterpret_cast<decltype(&posix_spawn)>(dlsym(RTLD_NEXT, "posix_spawn"));
  return real(pid, path, actions, attributes, arguments, environment);
}

}  // extern "C"

#include "platform/application_support.h"

#include <cstdlib>
#include <vector>

#include <pwd.h>
#include <unistd.h>

namespace quelmar::platform {
namespace {

std::string homeFolder() {
  const char* fromEnvironment = std::getenv("HOME");
  if (fromEnvironment != nullptr && fromEnvironment[0] == '/') return fromEnvironment;
  std::vector<char> buffer(16384);
  passwd entry{};
  passwd* found = nullptr;
  if (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) != 0 || found == nullptr) return {};
  return entry.pw_dir;
}

}  // namespace

void userApplicationSupport(std::string& path) {
  path.clear();
  // By the XDG base directory convention a relative value is ignored.
  const char* dataHome = std::getenv("XDG_DATA_HOME");
  if (dataHome != nullptr && dataHome[0] == '/') {
    path = dataHome;
    return;
  }
  const std::string home = homeFolder();
  if (!home.empty()) path = home + "/.local/share";
}

void machineApplicationSupport(std::string& path) {
  path.clear();
}

}  // namespace quelmar::platform

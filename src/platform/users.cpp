#include "platform/users.h"

#include <cerrno>
#include <memory>

#include <pwd.h>
#include <unistd.h>

#include "base/limits.h"
#include "base/threads.h"

namespace quelmar {
namespace {

constexpr std::size_t kMaxFolderBytes = 511;
constexpr std::size_t kFirstLookupBytes = 16384;
constexpr std::size_t kMaxLookupBytes = 1024 * 1024;
constexpr uid_t kNobody = 65534;

/// A field of a user's entry in the password database; empty when there is no such user.
std::string userEntry(uid_t uid, char* passwd::*field) {
  std::vector<char> buffer(kFirstLookupBytes);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == ERANGE && buffer.size() < kMaxLookupBytes) {
    buffer.resize(buffer.size() * 2);
  }
  return found != nullptr ? found->*field : "";
}

}  // namespace

const std::string& process::loginUser() {
  // Never destroyed: a thread may still read it while the process ends.
  static const auto* const kUser = [] {
    // Shared with the thread, which may write to it after the time-out.
    const auto answer = std::make_shared<std::string>();
    const bool inTime = runWithin(kLimits.loginService, [answer] { getCurrentLoginUser(*answer); });
    return new std::string(inTime ? *answer : "");
  }();
  return *kUser;
}

void utilities::macos::getSharedDataPath(std::string& path, std::error_code& /*ec*/) {
  path = platform::machineApplicationSupport();
  path = path.empty() ? "/Library/Application Support/oBrela" : path + "/oBrela";
}

std::string utilities::macos::getSharedDataPath(std::error_code& ec) {
  std::string path;
  getSharedDataPath(path, ec);
  return path;
}

std::string userName(uid_t user) {
  return userEntry(user, &passwd::pw_name);
}

std::string homeFolder(uid_t user) {
  return userEntry(user, &passwd::pw_dir);
}

std::vector<std::string> homeFolders() {
  std::vector<std::string> homes;
  while (const passwd* user = getpwent()) {
    const std::string home = user->pw_dir;
    const bool isFolder = home.size() > 1 && home[0] == '/' && home != "/nonexistent" && home != "/dev/null";
    const bool isNobody = user->pw_uid == kNobody || std::string(user->pw_name) == "nobody";
    const bool isPerson = user->pw_uid >= platform::kFirstPerson && !isNobody;
    if (isFolder && (user->pw_uid == 0 || isPerson)) homes.push_back(home);
  }
  endpwent();
  return homes;
}

std::string applicationDataFolder() {
  const std::string user = userName(geteuid());
  const std::string support = user == "root" ? "" : platform::userApplicationSupport();
  if (!support.empty()) return support + "/oBrela";
  return ("/Users/" + user + "/Library/Application Support/oBrela").substr(0, kMaxFolderBytes);
}

}  // namespace quelmar

#include "logging/data_folders.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <vector>

#include <pwd.h>
#include <unistd.h>

#include "logging/logger.h"
#include "platform/application_support.h"

namespace quelmar {
namespace utilities::macos {

void getSharedDataPath(std::string& path, std::error_code& /*ec*/) {
  platform::machineApplicationSupport(path);
  path = path.empty() ? "/Library/Application Support/oBrela" : path + "/oBrela";
}

std::string getSharedDataPath(std::error_code& ec) {
  std::string path;
  getSharedDataPath(path, ec);
  return path;
}

}  // namespace utilities::macos

namespace {

constexpr std::size_t kFolderBufferBytes = 512;
constexpr long kFallbackLookupBytes = 16384;
constexpr std::size_t kMaxLookupBytes = 1024 * 1024;

/// A field of a user's entry in the password database; empty when there is no such user.
std::string userEntry(uid_t uid, char* passwd::*field) {
  const long recommended = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::vector<char> buffer(static_cast<std::size_t>(recommended > 0 ? recommended : kFallbackLookupBytes));
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < kMaxLookupBytes) {
    buffer.resize(buffer.size() * 2);
  }
  return found != nullptr ? found->*field : "";
}

std::string usersFolder(const std::string& user) {
  std::array<char, kFolderBufferBytes> folder{};
  std::snprintf(folder.data(), folder.size(), "/Users/%s/Library/Application Support/oBrela", user.c_str());
  return folder.data();
}

}  // namespace

std::string homeFolder(uid_t user) {
  return userEntry(user, &passwd::pw_dir);
}

std::string applicationDataFolder() {
  const uid_t uid = geteuid();
  const std::string user = userEntry(uid, &passwd::pw_name);
  tell(STDOUT_FILENO, "name:" + user + " uid:" + std::to_string(uid) + "\n");
  if (user == "root") return usersFolder(user);
  std::string support;
  platform::userApplicationSupport(support);
  return support.empty() ? usersFolder(user) : support + "/oBrela";
}

}  // namespace quelmar

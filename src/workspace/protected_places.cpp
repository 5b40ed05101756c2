#include "workspace/protected_places.h"

#include <cstdlib>
#include <memory>
#include <set>

#include <boost/filesystem/operations.hpp>

#include "base/limits.h"
#include "base/threads.h"
#include "base/tree_walk.h"
#include "collect/sources.h"
#include "logging/logger.h"
#include "platform/users.h"

namespace quelmar {
namespace {

using logutils::macos::Source;

constexpr const char* kUsers = "/Users";
// On macOS the writable folders of "/" appear below this one too.
constexpr const char* kDataVolume = "/System/Volumes/Data";

/// The folders in /Users. They are not all that matter: users may have their homes elsewhere.
std::vector<std::string> usersFolders() {
  std::vector<std::string> folders;
  std::error_code ec;
  const Descriptor users = openFolder(kUsers, Links::kAny, ec);
  forEachEntry(users.get(), [&](EntryKind, const char* name) {
    struct stat info {};
    const std::string home = std::string(kUsers) + "/" + name;
    if (stat(home.c_str(), &info) == 0 && S_ISDIR(info.st_mode)) folders.push_back(home);
  });
  return folders;
}

std::vector<std::string> places(const std::string& executable) {
  std::vector<std::string> found{fs::absolute(executable).string(), Logger::GetInstance().options().logFile,
                                 homeFolder(getuid()), homeFolder(geteuid())};
  if (const char* sudo = std::getenv("SUDO_UID")) {
    found.push_back(homeFolder(static_cast<uid_t>(std::strtoul(sudo, nullptr, 10))));
  }
  // /Users may be closed to listing: then the homes that the system knows have to do.
  std::set<std::string> users{"root"};
  for (const std::vector<std::string>& homes : {usersFolders(), homeFolders()}) {
    found.insert(found.end(), homes.begin(), homes.end());
    for (const fs::path home : homes) {
      if (home.parent_path() == kUsers) users.insert(home.filename().string());
    }
  }
  std::error_code ignored;
  const std::string shared = utilities::macos::getSharedDataPath(ignored);
  for (const Source& source : logutils::macos::kSources) {
    const bool isShared = source.step == logutils::macos::kMachine || source.step == logutils::macos::kPort;
    for (const std::string& name : isShared ? std::set<std::string>{shared} : users) {
      found.push_back(logutils::macos::filledIn(source.path, name));
    }
  }
  return found;
}

std::string find(const std::string& root, const std::string& executable) {
  boost::system::error_code ignored;
  struct stat output {};
  const fs::path realRoot = fs::weakly_canonical(root, ignored);
  const bool exists = stat(root.c_str(), &output) == 0;  // through links: it matters what is there
  // Tells whether the root is `place` or above it, by device and inode, or by path where one does not exist.
  const auto holds = [&](const fs::path& place) {
    for (fs::path above = place; !above.empty(); above = above.parent_path()) {
      struct stat info {};
      if (above == realRoot || (exists && stat(above.c_str(), &info) == 0 && isSame(info, output))) return true;
    }
    return false;
  };
  for (const std::string& place : places(executable)) {
    const fs::path real = fs::weakly_canonical(place, ignored);
    if (holds(place) || holds(real) || holds(std::string(kDataVolume) + real.string())) return place;
  }
  return {};
}

}  // namespace

std::string protectedPlaceIn(const std::string& root, const std::string& executable) {
  // A home on a share whose server is gone may not answer; then no folder is taken for harmless.
  const auto found = std::make_shared<std::string>();
  const bool inTime = runWithin(kLimits.protectedPlaces, [=] { *found = find(root, executable); });
  return inTime ? *found : "what does not answer";
}

}  // namespace quelmar

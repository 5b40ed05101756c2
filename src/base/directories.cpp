
#include <algorithm>
#include <array>
#include <climits>
#include <deque>

#include <boost/filesystem/operations.hpp>
#include <fcntl.h>

#include "base/threads.h"
#include "base/tree_walk.h"

namespace quelmar {
namespace {

#if defined(O_PATH)
constexpr int kPassThrough = O_PATH;
#elif defined(O_SEARCH)
constexpr int kPassThrough = O_SEARCH;
#else
constexpr int kPassThrough = O_RDONLY;
#endif
constexpr int kMaxLinks = 40;
constexpr mode_t kFolderMode = 0755;  // less the umask

/// A folder that the run keeps open. Never destroyed: threads may use it while the process ends.
struct Held {
  std::string path;  // trimmed
  int folder;
};

std::deque<Held>& heldFolders() {
  static auto* const kHeld = new std::deque<Held>;
  return *kHeld;
}

/// The path without "/" and "/." at its end, but for the first "/".
std::string trimmed(std::string path) {
  while (path.size() > 1 && (path.back() == '/' || path.compare(path.size() - 2, 2, "/.") == 0)) path.pop_back();
  return path;
}

/// The held folder that is `path` or the nearest above it.
const Held* nearestHeld(const std::string& path) {
  const Held* nearest = nullptr;
  for (const Held& one : heldFolders()) {
    const std::size_t length = one.path.size();
    const bool isAbove =
        path.compare(0, length, one.path) == 0 && (path.size() == length || path[length] == '/' || one.path == "/");
    if (isAbove && (nearest == nullptr || length > nearest->path.size())) nearest = &one;
  }
  return nearest;
}

Descriptor openOne(int parent, const std::string& name, std::error_code& ec) {
  ec.clear();
  constexpr int kFlags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor folder(openat(parent, name.c_str(), O_RDONLY | kFlags));
  if (!folder && errno == EACCES) folder = Descriptor(openat(parent, name.c_str(), kPassThrough | kFlags));
  if (!folder) ec = lastError();
  return folder;
}

bool isTrusted(uid_t owner) {
  return owner == 0 || owner == geteuid();
}

/// Opens the folder at which a path begins.
Descriptor start(const std::string& path, std::error_code& ec) {
  return openOne(AT_FDCWD, path.compare(0, 1, "/") == 0 ? "/" : ".", ec);
}

/// What a symbolic link says, read so that it cannot be another one than the one in `info`.
std::string readLink(int parent, const std::string& name, struct stat& info) {
  std::array<char, PATH_MAX> text{};
  struct stat after {};
  if (lookUp(parent, name.c_str(), info) || !S_ISLNK(info.st_mode)) return {};
  const ssize_t length = readlinkat(parent, name.c_str(), text.data(), text.size());
  if (length <= 0 || lookUp(parent, name.c_str(), after)) return {};
  return isSame(after, info) ? std::string(text.data(), static_cast<std::size_t>(length)) : std::string();
}

/// Opens folders one in the other, following links by a rule.
class Way {
 public:
  explicit Way(Links links) : links_(links) {}

  [[nodiscard]] Links links() const { return links_; }

  /// Opens the folder at `path`, seen from the open folder `at`.
  Descriptor open(Descriptor at, const std::string& path, std::error_code& ec) {
    std::string unopened;  // a folder that could not be opened, but perhaps what is in it
    for (std::size_t from = 0; !ec && from < path.size();) {
      const std::size_t end = std::min(path.find('/', from), path.size());
      const std::string name = path.substr(from, end - from);
      from = end + 1;
      if (name.empty() || name == ".") continue;
      Descriptor next = component(at.get(), unopened + name, ec);
      if (ec == std::errc::permission_denied && from < path.size()) {
        unopened += name + '/';
        ec.clear();
        continue;
      }
      unopened.clear();
      if (next) at = std::move(next);
    }
    return ec ? Descriptor() : std::move(at);
  }

  /// Opens one folder of a way, or what a link at its name leads to.
  Descriptor component(int parent, const std::string& name, std::error_code& ec) {
    Descriptor folder = openOne(parent, name, ec);
    if (links_ == Links::kNone || !isNoFolder(ec)) return folder;
    struct stat link {};
    const std::string target = readLink(parent, name, link);
    if (target.empty()) return folder;
    struct stat info {};
    folder = followed(parent, target, ec);
    if (!ec && fstat(folder.get(), &info) == 0) ec = judgeLink(links_, link.st_uid, info.st_uid);
    return ec ? Descriptor() : std::move(folder);
  }

  /// Opens the folder that a link in `parent` leads to.
  Descriptor followed(int parent, const std::string& target, std::error_code& ec) {
    ec.clear();
    if (++followed_ > kMaxLinks) ec = std::make_error_code(std::errc::too_many_symbolic_link_levels);
    if (ec) return Descriptor();
    Descriptor from = target.front() == '/' ? start("/", ec) : openOne(parent, ".", ec);
    return open(std::move(from), target, ec);
  }

 private:
  const Links links_;
  int followed_ = 0;
};

/// Tells whether others than root and the calling user may remove or rename what is in the folder.
bool isOpenToOthers(const struct stat& info) {
  const bool isOwnGroup = info.st_gid == getegid() && geteuid() != 0;
  const mode_t others = isOwnGroup ? S_IWOTH : S_IWGRP | S_IWOTH;
  return !isTrusted(info.st_uid) || ((info.st_mode & others) != 0 && (info.st_mode & S_ISVTX) == 0);
}

/// Tells whether isOpenToOthers holds for no folder on the way to `path`, or to where links on it lead, and nothing on
/// it is another user's, who could exchange it even in a sticky folder.
bool isWayFixed(const fs::path& path, int linksLeft = kMaxLinks) {
  fs::path above;
  for (const fs::path& part : path) {
    struct stat info {};
    if (!above.empty() && (stat(above.c_str(), &info) != 0 || isOpenToOthers(info))) return false;
    above /= part;
    if (lstat(above.c_str(), &info) != 0 || !isTrusted(info.st_uid)) return false;
    if (!S_ISLNK(info.st_mode)) continue;
    boost::system::error_code ec;
    const fs::path target = fs::read_symlink(above, ec);
    const fs::path absolute = fs::absolute(target, above.parent_path());
    if (ec || linksLeft == 0 || !isWayFixed(absolute, linksLeft - 1)) return false;
  }
  return true;
}

/// Removes the entry `name`, if there is one, and makes a folder of that name.
Descriptor replaceByFolder(int parent, const std::string& name, std::error_code& ec, bool* made) {
  ec = removeEntry(parent, name.c_str());
  const bool isNew = !ec && mkdirat(parent, name.c_str(), kFolderMode) == 0;
  if (isNew && made != nullptr) *made = true;
  if (!ec && !isNew && errno != EEXIST) ec = lastError();  // another run may have made it meanwhile
  return ec ? Descriptor() : openOne(parent, name, ec);
}

/// See makeFolder. @param mayReplace  whether what stands at `path` and is no folder is removed
Descriptor makeOne(const std::string& path, Way& way, bool mayReplace, std::error_code& ec, bool* made) {
  const Held* const held = nearestHeld(path);
  if (held != nullptr && held->path == path) return openOne(held->folder, ".", ec);
  const std::size_t slash = path.rfind('/');
  const std::string name = path.substr(slash + 1);
  const bool isTop = slash == 0 || slash == std::string::npos;
  Descriptor parent = isTop ? start(path, ec) : makeOne(path.substr(0, slash), way, false, ec, nullptr);
  if (ec || name.empty() || name == ".") return parent;
  if (held != nullptr) return makeFolder(parent.get(), name, ec, made);

  Descriptor folder = way.component(parent.get(), name, ec);
  struct stat info {};
  if (!ec) return folder;
  if (!lookUp(parent.get(), name.c_str(), info)) {
    // A link that the user has named is not removed.
    const bool isUsersLink = S_ISLNK(info.st_mode) && way.links() == Links::kAny;
    if (S_ISDIR(info.st_mode) || isUsersLink || !mayReplace) return Descriptor();
  }
  return replaceByFolder(parent.get(), name, ec, made);
}

}  // namespace

int hold(const std::string& path, Descriptor folder) {
  std::deque<Held>& all = heldFolders();
  const auto isAt = [&path](const Held& one) { return one.path == trimmed(path); };
  all.erase(std::remove_if(all.begin(), all.end(), isAt), all.end());
  all.push_back({trimmed(path), folder.get()});
  return folder.release();
}

bool isNoFolder(const std::error_code& ec) {
  return ec == std::errc::not_a_directory || ec == std::errc::too_many_symbolic_link_levels;
}

std::error_code judgeLink(Links links, uid_t owner, uid_t ownerOfTarget) {
  const bool isFollowed =
      links == Links::kAny || isTrusted(owner) || (links == Links::kJudged && owner == ownerOfTarget);
  return isFollowed ? std::error_code() : std::make_error_code(std::errc::operation_not_permitted);
}

Place targetOfLink(int parent, const std::string& name, Links links, uid_t& owner, std::error_code& ec) {
  struct stat info {};
  const std::string target = readLink(parent, name, info);
  owner = info.st_uid;
  ec = target.empty() ? std::make_error_code(std::errc::not_supported) : std::error_code();
  if (ec) return Place();
  const std::size_t nameAt = target.rfind('/') + 1;
  return {Way(links).followed(parent, nameAt == 0 ? "." : target.substr(0, nameAt), ec), target.substr(nameAt)};
}

Descriptor openFolder(int parent, const std::string& name, std::error_code& ec) {
  if (name.find('/') == std::string::npos) return openOne(parent, name, ec);
  return Way(Links::kNone).open(openOne(parent, ".", ec), name, ec);
}

Descriptor openFolder(const std::string& path, Links links, std::error_code& ec) {
  const Held* const held = nearestHeld(trimmed(path));
  if (held != nullptr) return openFolder(held->folder, "./" + path.substr(held->path.size()), ec);
  Descriptor from = start(path, ec);
  return ec ? Descriptor() : Way(links).open(std::move(from), path, ec);
}

Descriptor makeFolder(const std::string& path, Links links, std::error_code& ec, bool* made) {
  Way way(links);
  return makeOne(trimmed(path), way, true, ec, made);
}

Descriptor makeFolder(int parent, const std::string& name, std::error_code& ec, bool* made) {
  Descriptor folder = openOne(parent, name, ec);
  struct stat info {
  }, own{};
  const bool isForeign =
      !ec && fstat(folder.get(), &info) == 0 && fstat(parent, &own) == 0 && info.st_uid != own.st_uid;
  if (!ec && !isForeign) return folder;
  if (ec && !isNoFolder(ec) && ec != std::errc::no_such_file_or_directory) return Descriptor();
  return replaceByFolder(parent, name, ec, made);
}

Place locate(const std::string& path, Links links, std::error_code& ec) {
  const std::string whole = trimmed(path);
  const std::size_t nameAt = whole.rfind('/') + 1;
  const std::string name = whole.substr(nameAt);
  return {openFolder(whole.substr(0, nameAt), links, ec), name.empty() ? "." : name};
}

std::error_code lookUp(int folder, const char* name, struct stat& info) {
  return fstatat(folder, name, &info, AT_SYMLINK_NOFOLLOW) == 0 ? std::error_code() : lastError();
}

std::error_code lookUp(const std::string& path, Links links, struct stat& info) {
  std::error_code ec;
  const Place place = locate(path, links, ec);
  return ec ? ec : lookUp(place.folder.get(), place.name.c_str(), info);
}

bool whileFixed(const std::string& path, const std::function<void()>& work) {
  std::error_code ec;
  struct stat folder {
  }, named{};
  const Place place = locate(path, Links::kOwn, ec);
  if (ec || fstat(place.folder.get(), &folder) != 0) return false;
  const bool isClosed = folder.st_uid == geteuid() && isOpenToOthers(folder) &&
                        fchmod(place.folder.get(), (folder.st_mode & 07777) | S_ISVTX) == 0;
  const ScopeGuard open([&] {
    if (isClosed) fchmod(place.folder.get(), folder.st_mode & 07777);
  });
  const fs::path whole = fs::absolute(path);
  if (stat(whole.parent_path().c_str(), &named) != 0 || !isSame(named, folder) || !isWayFixed(whole)) return false;
  work();
  return true;
}

bool utilities::ensureDirectoryExist(const std::string& path, std::error_code& ec, Links links) {
  bool made = false;
  const Descriptor folder = makeFolder(path, links, ec, &made);
  if (made && !ec && fchmod(folder.get(), 0777) != 0) ec = lastError();
  return !ec;
}

}  // namespace quelmar

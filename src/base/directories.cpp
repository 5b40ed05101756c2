#include "base/directories.h"

#include <algorithm>
#include <array>
#include <climits>
#include <map>
#include <vector>

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

using HeldFolders = std::map<std::string, int>;  // by trimmed paths

HeldFolders& heldFolders() {
  static auto* const kHeld = new HeldFolders;  // never destroyed: threads may use it while the process ends
  return *kHeld;
}

/// The path without "/" and "/." at its end, but for the first "/".
std::string trimmed(std::string path) {
  while (path.size() > 1 && (path.back() == '/' || path.compare(path.size() - 2, 2, "/.") == 0)) path.pop_back();
  return path;
}

/// The held folder that is at a path or nearest above it, if any.
const HeldFolders::value_type* nearestHeld(const std::string& path) {
  for (std::string above = trimmed(path);; above.resize(above.rfind('/'))) {
    const auto held = heldFolders().find(above);
    if (held != heldFolders().end()) return &*held;
    if (above.find('/') == std::string::npos) return nullptr;
  }
}

/// The names in a path, without "" and ".".
std::vector<std::string> namesIn(const std::string& path) {
  std::vector<std::string> names;
  for (std::size_t from = 0; from < path.size();) {
    const std::size_t end = std::min(path.find('/', from), path.size());
    const std::string name = path.substr(from, end - from);
    if (!name.empty() && name != ".") names.push_back(name);
    from = end + 1;
  }
  return names;
}

/// A path up to its last "/", and the name after that, which is "." for "/".
std::pair<std::string, std::string> parted(const std::string& path) {
  const std::string whole = trimmed(path);
  const std::size_t nameAt = whole.rfind('/') + 1;
  return {whole.substr(0, nameAt), nameAt == whole.size() ? "." : whole.substr(nameAt)};
}

/// Opens a folder, unless there is a link at its name.
Descriptor openOne(int parent, const std::string& name, std::error_code& ec) {
  ec.clear();
  constexpr int kFlags = O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
  Descriptor folder(openat(parent, name.c_str(), O_RDONLY | kFlags));
  if (!folder && errno == EACCES) folder = Descriptor(openat(parent, name.c_str(), kPassThrough | kFlags));
  if (!folder) ec = lastError();
  return folder;
}

/// Opens the folder where a path begins: "/", or the open folder `from`.
Descriptor start(int from, const std::string& path, std::error_code& ec) {
  return openOne(from, path.compare(0, 1, "/") == 0 ? "/" : ".", ec);
}

/// Opens a regular file; fails for a link. A device that is there is opened as well.
Descriptor openListedFile(int parent, const char* name, struct stat& info, std::error_code& ec) {
  ec.clear();
  Descriptor file(openat(parent, name, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW | O_CLOEXEC));
  if (!file || fstat(file.get(), &info) != 0) ec = lastError();
  if (!ec && !S_ISREG(info.st_mode)) ec = std::make_error_code(std::errc::not_supported);
  return ec ? Descriptor() : std::move(file);
}

bool isTrusted(uid_t owner) {
  return owner == 0 || owner == geteuid();
}

/// Tells whether others than root and the calling user may exchange what is in the folder.
bool isOpenToOthers(const struct stat& info) {
  const bool isOwnGroup = info.st_gid == getegid() && geteuid() != 0;
  const mode_t others = isOwnGroup ? S_IWOTH : S_IWGRP | S_IWOTH;
  return !isTrusted(info.st_uid) || ((info.st_mode & others) != 0 && (info.st_mode & S_ISVTX) == 0);
}

/// What a symbolic link says, which is empty for anything else. The link in `info` is the one that was read.
std::string readLink(int parent, const std::string& name, struct stat& info) {
  std::array<char, PATH_MAX> text{};
  struct stat after {};
  if (lookUp(parent, name.c_str(), info) || !S_ISLNK(info.st_mode)) return {};
  const ssize_t length = readlinkat(parent, name.c_str(), text.data(), text.size());
  if (length <= 0 || lookUp(parent, name.c_str(), after)) return {};
  return isSame(after, info) ? std::string(text.data(), static_cast<std::size_t>(length)) : std::string();
}

/// Opens folders one in the other, and what is in them, following links by a rule.
class Way {
 public:
  /// Opens an entry that is no link.
  using Opener = std::function<Descriptor(int parent, const std::string& name, std::error_code& ec)>;

  /// @param isFixed  folders where others may exchange entries are not opened: EPERM
  explicit Way(Links links, bool isFixed = false) : links_(links), isFixed_(isFixed) {}

  [[nodiscard]] Links links() const { return links_; }

  /// Opens the folder at `path`, which is relative to an open folder or begins with "/".
  Descriptor openPath(int from, const std::string& path, std::error_code& ec) {
    Descriptor at = start(from, path, ec);
    if (!ec) checkFixed(at, ec);
    if (ec) return Descriptor();
    std::string unopened;  // what could not be opened, though perhaps what is in it can
    for (const std::string& name : namesIn(path)) {
      unopened += (unopened.empty() ? "" : "/") + name;
      Descriptor next = openEntry(at.get(), unopened, openOne, ec);
      if (ec == std::errc::permission_denied && !isFixed_) continue;
      if (!ec) checkFixed(next, ec);
      if (ec) break;
      unopened.clear();
      at = std::move(next);
    }
    return ec ? Descriptor() : std::move(at);
  }

  /// Opens an entry of an open folder, or what a link at its name leads to.
  Descriptor openEntry(int parent, const std::string& name, const Opener& open, std::error_code& ec) {
    Descriptor entry = open(parent, name, ec);
    if (!ec || links_ == Links::kNone) return entry;
    struct stat link {
    }, target{};
    const std::string path = readLink(parent, name, link);
    if (path.empty()) return entry;
    if (++followed_ > kMaxLinks) {
      ec = std::make_error_code(std::errc::too_many_symbolic_link_levels);
      return entry;
    }
    const auto [folder, last] = parted(path);
    const Descriptor at = openPath(parent, folder, ec);
    if (!ec) entry = openEntry(at.get(), last, open, ec);
    if (!ec && fstat(entry.get(), &target) != 0) ec = lastError();
    if (!ec && !mayFollow(link.st_uid, target.st_uid)) ec = std::make_error_code(std::errc::operation_not_permitted);
    return ec ? Descriptor() : std::move(entry);
  }

 private:
  [[nodiscard]] bool mayFollow(uid_t owner, uid_t ownerOfTarget) const {
    return links_ == Links::kAny || isTrusted(owner) || (links_ == Links::kJudged && owner == ownerOfTarget);
  }

  void checkFixed(const Descriptor& folder, std::error_code& ec) const {
    struct stat info {};
    const bool isOpen = isFixed_ && (fstat(folder.get(), &info) != 0 || isOpenToOthers(info));
    if (isOpen) ec = std::make_error_code(std::errc::operation_not_permitted);
  }

  const Links links_;
  const bool isFixed_;
  int followed_ = 0;
};

/// Removes the entry `name`, if there is one, and makes a folder of that name.
Descriptor replaceByFolder(int parent, const std::string& name, Access access, std::error_code& ec) {
  ec = removeEntry(parent, name.c_str());
  if (ec) return Descriptor();
  const bool isNew = mkdirat(parent, name.c_str(), 0755) == 0;
  if (!isNew && errno != EEXIST) ec = lastError();  // another run may have made it meanwhile
  Descriptor folder = ec ? Descriptor() : openOne(parent, name, ec);
  if (!ec && isNew && access == Access::kAll && fchmod(folder.get(), 0777) != 0) ec = lastError();
  return folder;
}

/// One step of makeFolder outside of the held folders.
Descriptor makeOne(Way& way, int parent, const std::string& name, bool isLast, Access access, std::error_code& ec) {
  Descriptor folder = way.openEntry(parent, name, openOne, ec);
  if (!ec) return folder;
  struct stat info {};
  if (!lookUp(parent, name.c_str(), info)) {
    // A link that the user has named is not removed.
    const bool isUsersLink = S_ISLNK(info.st_mode) && way.links() == Links::kAny;
    if (S_ISDIR(info.st_mode) || isUsersLink || !isLast) return folder;
  }
  return replaceByFolder(parent, name, access, ec);
}

}  // namespace

int hold(const std::string& path, Descriptor folder) {
  return heldFolders()[trimmed(path)] = folder.release();
}

bool isNoFolder(const std::error_code& ec) {
  return ec == std::errc::not_a_directory || ec == std::errc::too_many_symbolic_link_levels;
}

Descriptor openFolder(int parent, const std::string& name, std::error_code& ec) {
  const bool isOne = name.find('/') == std::string::npos;
  return isOne ? openOne(parent, name, ec) : Way(Links::kNone).openPath(parent, name, ec);
}

Descriptor openFolder(const std::string& path, Links links, std::error_code& ec) {
  const auto* const held = nearestHeld(path);
  if (held == nullptr) return Way(links).openPath(AT_FDCWD, path, ec);
  return openFolder(held->second, "./" + path.substr(held->first.size()), ec);
}

Descriptor makeFolder(const std::string& path, Links links, std::error_code& ec, Access access) {
  const auto* const held = nearestHeld(path);
  const std::vector<std::string> names = namesIn(held == nullptr ? path : path.substr(held->first.size()));
  Way way(links);
  Descriptor folder = held == nullptr ? start(AT_FDCWD, path, ec) : openOne(held->second, ".", ec);
  for (std::size_t i = 0; !ec && i < names.size(); ++i) {
    const bool isLast = i + 1 == names.size();
    const Access own = isLast ? access : Access::kUsual;
    folder = held == nullptr ? makeOne(way, folder.get(), names[i], isLast, own, ec)
                             : makeFolder(folder.get(), names[i], ec, own);
  }
  return folder;
}

Descriptor makeFolder(int parent, const std::string& name, std::error_code& ec, Access access) {
  Descriptor folder = openOne(parent, name, ec);
  struct stat info {
  }, own{};
  const bool isForeign =
      !ec && fstat(folder.get(), &info) == 0 && fstat(parent, &own) == 0 && info.st_uid != own.st_uid;
  if (isForeign || isNoFolder(ec) || ec == std::errc::no_such_file_or_directory) {
    return replaceByFolder(parent, name, access, ec);
  }
  return folder;
}

Descriptor openRegular(int parent, const char* name, Links links, struct stat& info, std::error_code& ec,
                       bool isListed) {
  if (isListed) {
    Descriptor file = openListedFile(parent, name, info, ec);
    if (ec != std::errc::too_many_symbolic_link_levels) return file;
  }
  const auto open = [&info](int folder, const std::string& entry, std::error_code& failure) {
    failure = lookUp(folder, entry.c_str(), info);
    if (!failure && !S_ISREG(info.st_mode)) failure = std::make_error_code(std::errc::not_supported);
    return failure ? Descriptor() : openListedFile(folder, entry.c_str(), info, failure);
  };
  return Way(links).openEntry(parent, name, open, ec);
}

Descriptor openRegular(const std::string& path, Links links, struct stat& info, std::error_code& ec) {
  const Place place = locate(path, links, ec);
  return ec ? Descriptor() : openRegular(place.folder.get(), place.name.c_str(), links, info, ec);
}

Place locate(const std::string& path, Links links, std::error_code& ec) {
  const auto [folder, name] = parted(path);
  return {openFolder(folder, links, ec), name};
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
  }, entry{}, named{};
  const Place place = locate(path, Links::kOwn, ec);
  if (ec || fstat(place.folder.get(), &folder) != 0) return false;
  const bool isClosed = folder.st_uid == geteuid() && isOpenToOthers(folder) &&
                        fchmod(place.folder.get(), (folder.st_mode & 07777) | S_ISVTX) == 0;
  const ScopeGuard open([&] {
    if (isClosed) fchmod(place.folder.get(), folder.st_mode & 07777);
  });
  // Whoever gets the path from `work` begins at "/", and not in a held folder.
  const std::string above = fs::absolute(path).parent_path().string();
  const Descriptor way = Way(Links::kOwn, true).openPath(AT_FDCWD, above, ec);
  if (ec || fstat(way.get(), &named) != 0 || !isSame(named, folder)) return false;
  // With the sticky bit too, the owner of an entry may exchange it.
  if (lookUp(way.get(), place.name.c_str(), entry) || S_ISLNK(entry.st_mode) || !isTrusted(entry.st_uid)) return false;
  work();
  return true;
}

bool utilities::ensureDirectoryExist(const std::string& path, std::error_code& ec, Links links) {
  makeFolder(path, links, ec, Access::kAll);
  return !ec;
}

}  // namespace quelmar

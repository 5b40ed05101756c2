#include "base/tree_walk.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

namespace quelmar {

constexpr std::size_t kLeftOpen = 8;

Folder::Folder(Descriptor opened) : open(std::move(opened)) {
  if (open) fstat(open.get(), &info);
}

void FolderChain::enter(Folder folder) {
  folders_.push_back(std::move(folder));
  // The first one stays open: closed ones are found from there.
  if (folders_.size() > kLeftOpen + 1) folders_[folders_.size() - kLeftOpen].open = Descriptor();
}

std::error_code FolderChain::leave(const std::string& path) {
  const Folder child = std::move(folders_.back());
  folders_.pop_back();
  Folder& folder = folders_.back();
  std::error_code ec;
  const std::string fromTop = "./" + path;
  for (const auto& [parent, name] : {std::pair{child.open.get(), ".."}, {top().open.get(), fromTop.c_str()}}) {
    if (folder.open) return {};
    if (parent < 0) continue;
    Folder found(openFolder(parent, name, ec));
    if (!ec && found.is(folder)) folder.open = std::move(found.open);
  }
  return folder.open || ec ? ec : std::make_error_code(std::errc::no_such_file_or_directory);
}

TreeWalk::TreeWalk(Folder top, std::string path, Lost lost)
    : lost_(std::move(lost)), path_(std::move(path)), topLength_(path_.size()), folders_(std::move(top)) {
  list();
}

void TreeWalk::list() {
  levels_.push_back({names_.size(), names_.size(), path_.size()});
  if (const std::error_code ec = listFolder(folders_.last(), names_)) lost_(path_, ec);
}

TreeWalk::Event TreeWalk::next() {
  Level& level = levels_.back();
  path_.resize(level.pathLength);
  if (level.nextName < names_.size()) {
    kind_ = static_cast<EntryKind>(names_[level.nextName]);
    const char* const name = names_.c_str() + level.nextName + 1;
    level.nextName += std::strlen(name) + 2;
    path_.append("/").append(name);
    return Event::kEntry;
  }
  names_.resize(level.firstName);
  if (levels_.size() == 1) return Event::kEnd;
  levels_.pop_back();
  Level& outer = levels_.back();
  const std::string outerPath = path_.substr(0, outer.pathLength);
  const std::error_code ec = folders_.leave(outerPath.substr(std::min(topLength_ + 1, outerPath.size())));
  if (ec && outer.nextName < names_.size()) lost_(outerPath, ec);
  if (ec) names_.resize(outer.nextName);
  kind_ = EntryKind::kDirectory;
  return Event::kLeft;
}

Folder TreeWalk::open(std::error_code& ec) const {
  return Folder(openFolder(folders_.last(), name(), ec));
}

void TreeWalk::enter(Folder folder) {
  folders_.enter(std::move(folder));
  list();
}

std::error_code removeEntry(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return {};
  // For a folder unlink fails with EISDIR on some hosts, EPERM on others; opening it shows what it is.
  const std::error_code notUnlinked = lastError();
  std::error_code first;
  Folder top(openFolder(parent, name, first));
  if (isNoFolder(first)) return notUnlinked;
  if (top.open) {
    const auto note = [&first](const std::error_code& ec) {
      if (!first) first = ec;
    };
    TreeWalk walk(std::move(top), name, [&note](const std::string&, const std::error_code& ec) { note(ec); });
    for (auto event = walk.next(); event != TreeWalk::Event::kEnd; event = walk.next()) {
      const bool hasLeft = event == TreeWalk::Event::kLeft;
      if (unlinkat(walk.folder(), walk.name(), hasLeft ? AT_REMOVEDIR : 0) == 0 || errno == ENOENT) continue;
      const std::error_code notRemoved = lastError();
      std::error_code ec;
      Folder folder = hasLeft ? Folder() : walk.open(ec);
      if (folder.open && folder.info.st_dev == walk.folders().top().info.st_dev) {
        walk.enter(std::move(folder));
      } else if (ec && !isNoFolder(ec) && unlinkat(walk.folder(), walk.name(), AT_REMOVEDIR) != 0) {
        note(ec);  // it could not be opened, and is not empty
      } else if (!ec || isNoFolder(ec)) {
        note(folder.open ? std::make_error_code(std::errc::device_or_resource_busy) : notRemoved);
      }
    }
  }
  if (unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT) return {};
  return first ? first : lastError();
}

}  // namespace quelmar

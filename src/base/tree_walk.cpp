#include "base/tree_walk.h"

#include <cstring>
#include <memory>
#include <new>

#include <dirent.h>
#include <fcntl.h>

namespace quelmar {

namespace {

constexpr std::size_t kLeftOpen = 8;

EntryKind kindOf(int folder, const dirent& entry) {
  struct stat info {};
  info.st_mode = static_cast<mode_t>(DTTOIF(entry.d_type));  // 0: the folder does not hold it
  if (info.st_mode == 0 && lookUp(folder, entry.d_name, info)) return EntryKind::kUnknown;
  if (S_ISREG(info.st_mode)) return EntryKind::kFile;
  if (S_ISDIR(info.st_mode)) return EntryKind::kDirectory;
  return S_ISLNK(info.st_mode) ? EntryKind::kLink : EntryKind::kOther;
}

/// Appends to `entries`, for each entry of an open folder, a byte for the type (EntryKind), the name and a zero byte: a
/// million strings would take too much memory. @return the error that ended the listing early
std::error_code listFolder(int folder, std::string& entries) {
  Descriptor again(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, int (*)(DIR*)> listing(again ? fdopendir(again.get()) : nullptr, &closedir);
  if (!listing) return lastError();
  again.release();
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(listing.get());
    if (entry == nullptr) return lastError();
    if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
    const std::size_t whole = entries.size();
    try {
      entries += static_cast<char>(kindOf(folder, *entry));
      entries.append(entry->d_name).push_back('\0');
    } catch (const std::bad_alloc&) {
      entries.resize(whole);
      return std::make_error_code(std::errc::not_enough_memory);
    }
  }
}

/// Removes what is in a folder, but not what is mounted there. @return the first error
std::error_code emptyFolder(Folder top, const char* name) {
  std::error_code first;
  const auto note = [&first](const std::error_code& ec) {
    if (!first) first = ec;
  };
  TreeWalk walk(std::move(top), name, [&note](const std::string&, const std::error_code& ec) { note(ec); });
  while (walk.next()) {
    const bool hasLeft = walk.hasLeft();
    if (unlinkat(walk.folder(), walk.name(), hasLeft ? AT_REMOVEDIR : 0) == 0 || errno == ENOENT) continue;
    const std::error_code notRemoved = lastError();
    std::error_code ec;
    Folder folder = hasLeft ? Folder() : walk.open(ec);
    if (hasLeft || isNoFolder(ec)) {
      note(notRemoved);
    } else if (ec) {
      // It cannot be opened, but may be empty.
      if (unlinkat(walk.folder(), walk.name(), AT_REMOVEDIR) != 0) note(ec);
    } else if (folder.info.st_dev != walk.folders().top().info.st_dev) {
      note(std::make_error_code(std::errc::device_or_resource_busy));
    } else {
      walk.enter(std::move(folder));
    }
  }
  return first;
}

}  // namespace

std::error_code forEachEntry(int folder, const std::function<void(EntryKind kind, const char* name)>& each) {
  std::string entries;
  const std::error_code ec = listFolder(folder, entries);
  for (std::size_t at = 0; at < entries.size(); at = entries.find('\0', at) + 1) {
    each(static_cast<EntryKind>(entries[at]), entries.c_str() + at + 1);
  }
  return ec;
}

void FolderChain::enter(Folder folder, const std::string& name) {
  folders_.push_back(std::move(folder));
  path_.append("/").append(name);
  // The first one stays open: closed ones are found from there.
  if (folders_.size() > kLeftOpen + 1) folders_[folders_.size() - kLeftOpen].open = Descriptor();
}

std::error_code FolderChain::leave() {
  const Folder child = std::move(folders_.back());
  folders_.pop_back();
  path_.resize(path_.rfind('/'));
  Folder& folder = folders_.back();
  std::error_code ec;
  const auto reopen = [&](int from, const std::string& way) {
    Folder found(openFolder(from, way, ec));
    if (!ec && found.is(folder)) folder.open = std::move(found.open);
  };
  if (!folder.open) reopen(child.open.get(), "..");
  if (!folder.open) reopen(top().open.get(), "." + path_);
  if (folder.open) return {};
  return ec ? ec : std::make_error_code(std::errc::no_such_file_or_directory);
}

TreeWalk::TreeWalk(Folder top, std::string path, Lost lost)
    : lost_(std::move(lost)), path_(std::move(path)), topLength_(path_.size()), folders_(std::move(top)) {
  list();
}

void TreeWalk::list() {
  listings_.emplace_back();
  if (const std::error_code ec = listFolder(folders_.last(), listings_.back().entries)) lost_(path_, ec);
}

bool TreeWalk::next() {
  path_.resize(folderLength());
  hasLeft_ = listings_.back().atEnd();
  if (!hasLeft_) {
    Listing& listing = listings_.back();
    const char* const entry = listing.entries.c_str() + listing.next;
    kind_ = static_cast<EntryKind>(*entry);
    path_.append("/").append(entry + 1);
    listing.next += std::strlen(entry) + 1;
    return true;
  }
  if (listings_.size() == 1) return false;
  listings_.pop_back();
  kind_ = EntryKind::kDirectory;
  if (const std::error_code ec = folders_.leave()) {
    if (!listings_.back().atEnd()) lost_(path_.substr(0, folderLength()), ec);
    listings_.back().next = listings_.back().entries.size();
  }
  return true;
}

void TreeWalk::enter(Folder folder) {
  folders_.enter(std::move(folder), name());
  list();
}

std::error_code removeEntry(int parent, const char* name) {
  if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return {};
  // For a folder unlink fails with EISDIR on some hosts, EPERM on others; opening it shows what it is.
  const std::error_code notUnlinked = lastError();
  std::error_code ec;
  Folder top(openFolder(parent, name, ec));
  if (isNoFolder(ec)) return notUnlinked;
  if (!ec) ec = emptyFolder(std::move(top), name);
  if (unlinkat(parent, name, AT_REMOVEDIR) == 0 || errno == ENOENT) return {};
  return ec ? ec : lastError();
}

}  // namespace quelmar

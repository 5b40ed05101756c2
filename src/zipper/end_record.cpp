#include "zipper/end_record.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "zipper/archive_file.h"

namespace zipper {
namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::uint32_t kCentralHeader = 0x02014b50;
constexpr std::uint32_t kEndRecord = 0x06054b50;
constexpr std::uint32_t kEndRecord64 = 0x06064b50;
constexpr std::uint32_t kEndLocator64 = 0x07064b50;
constexpr std::size_t kCentralHeaderBytes = 46;
constexpr std::size_t kEndRecordBytes = 22;
constexpr std::size_t kEndLocator64Bytes = 20;
constexpr std::size_t kMaxTailBytes = kEndLocator64Bytes + kEndRecordBytes + 65'535;  // its longest comment
constexpr std::size_t kDirectoryPieceBytes = 262'144;  // more than the longest header
constexpr std::uint64_t kMaxEntries = 65'535;
constexpr std::uint16_t kVersion64 = 45;

/// A number of `size` bytes, least significant first.
std::uint64_t get(const unsigned char* from, std::size_t size) {
  std::uint64_t value = 0;
  while (size-- > 0) value = (value << 8U) | from[size];
  return value;
}

void put(Bytes& to, std::uint64_t value, std::size_t size) {
  for (; size > 0; --size, value >>= 8U) to.push_back(static_cast<unsigned char>(value & 0xffU));
}

/// Finds the end record in the archive's last bytes: the one whose comment ends where the archive does.
/// @return its position in `tail`; the size of `tail` when there is none
std::size_t findEndRecord(const Bytes& tail) {
  for (std::size_t at = tail.size() < kEndRecordBytes ? 0 : tail.size() - kEndRecordBytes + 1; at-- > 0;) {
    if (get(&tail[at], 4) == kEndRecord && at + kEndRecordBytes + get(&tail[at + 20], 2) == tail.size()) {
      return at;
    }
  }
  return tail.size();
}

/// The size of the central header at `at`; 0 when there is none, or not all of it.
std::size_t headerSize(const Bytes& directory, std::size_t at) {
  const std::size_t left = directory.size() - at;
  if (left < kCentralHeaderBytes || get(&directory[at], 4) != kCentralHeader) return 0;
  const std::uint64_t size = kCentralHeaderBytes + get(&directory[at + 28], 2) + get(&directory[at + 30], 2) +
                             get(&directory[at + 32], 2);
  return size <= left ? static_cast<std::size_t>(size) : 0;
}

bool countEntries(ArchiveFile& archive, std::uint64_t directory, std::uint64_t size, std::uint64_t& entries) {
  Bytes piece;
  entries = 0;
  while (size > 0) {
    piece.resize(static_cast<std::size_t>(std::min<std::uint64_t>(size, kDirectoryPieceBytes)));
    archive.seek(directory);
    if (!archive.read(piece.data(), piece.size())) return false;
    std::size_t used = 0;
    while (const std::size_t header = headerSize(piece, used)) {
      used += header;
      ++entries;
    }
    if (used == 0) return false;
    directory += used;
    size -= used;
  }
  return true;
}

Bytes endRecord64(std::uint64_t entries, std::uint64_t size, std::uint64_t offset) {
  Bytes record;
  put(record, kEndRecord64, 4);
  put(record, 44, 8);  // how many bytes of this record follow
  put(record, kVersion64, 2);
  put(record, kVersion64, 2);
  put(record, 0, 4);  // this disk, and the one where the directory begins
  put(record, 0, 4);
  put(record, entries, 8);
  put(record, entries, 8);
  put(record, size, 8);
  put(record, offset, 8);
  put(record, kEndLocator64, 4);
  put(record, 0, 4);
  put(record, offset + size, 8);  // where this record is
  put(record, 1, 4);
  return record;
}

}  // namespace

bool completeEndRecord(ArchiveFile& archive) try {
  const std::uint64_t end = archive.position();
  Bytes tail(static_cast<std::size_t>(std::min<std::uint64_t>(end, kMaxTailBytes)));
  archive.seek(end - tail.size());
  if (!archive.read(tail.data(), tail.size())) return false;
  const std::size_t at = findEndRecord(tail);
  if (at == tail.size()) return false;

  const unsigned char* record = &tail[at];
  const std::uint64_t size = get(record + 12, 4);
  const std::uint64_t offset = get(record + 16, 4);
  const std::uint64_t position = end - tail.size() + at;
  std::uint64_t entries = get(record + 10, 2);
  const bool has64 = at >= kEndLocator64Bytes && get(record - kEndLocator64Bytes, 4) == kEndLocator64;
  if (entries == kMaxEntries && !has64) {
    if (size > position || !countEntries(archive, position - size, size, entries)) return false;
  }
  archive.seek(end);
  if (entries <= kMaxEntries) return true;

  Bytes records = endRecord64(entries, size, offset);
  records.insert(records.end(), tail.cbegin() + static_cast<std::ptrdiff_t>(at), tail.cend());
  archive.seek(position);
  return archive.write(records.data(), records.size());
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace zipper

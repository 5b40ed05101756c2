#include "zip_reader.h"

#include <zlib.h>

#include "fuzzing.h"

namespace fuzzing {
namespace {

constexpr std::size_t kEndRecordBytes = 22;
constexpr std::size_t kCentralBytes = 46;
constexpr std::size_t kLocalBytes = 30;

/// A little-endian number of `bytes` bytes.
std::size_t number(const std::string& text, std::size_t at, unsigned bytes) {
  require(at + bytes <= text.size(), "the archive is long enough");
  std::size_t value = 0;
  for (unsigned i = bytes; i > 0; --i) value = value << 8 | static_cast<unsigned char>(text[at + i - 1]);
  return value;
}

std::string inflated(const std::string& packed, std::size_t size) {
  std::string text(size + 1, '\0');
  z_stream stream{};
  require(inflateInit2(&stream, -MAX_WBITS) == Z_OK, "inflate starts");
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(&text[0]);
  stream.avail_out = static_cast<uInt>(text.size());
  require(inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0, "the data inflates to its end");
  require(stream.total_out == size, "the data has the size that is told");
  inflateEnd(&stream);
  text.resize(size);
  return text;
}

ZipEntry readEntry(const std::string& archive, std::size_t central) {
  require(number(archive, central, 4) == 0x02014b50, "a central header is where it should be");
  const std::size_t local = number(archive, central + 42, 4);
  require(number(archive, local, 4) == 0x04034b50, "a local header is where it should be");
  require(number(archive, central + 12, 4) == 0 && number(archive, local + 10, 4) == 0, "dates are 0");
  require(number(archive, central + 38, 4) == 0, "attributes are 0");
  for (const auto& [inCentral, inLocal, bytes] :
       {std::tuple(10U, 8U, 2U), {16U, 14U, 4U}, {20U, 18U, 4U}, {24U, 22U, 4U}, {28U, 26U, 2U}}) {
    require(number(archive, central + inCentral, bytes) == number(archive, local + inLocal, bytes),
            "both headers tell the same");
  }
  const std::size_t nameBytes = number(archive, local + 26, 2);
  const std::size_t begin = local + kLocalBytes + nameBytes + number(archive, local + 28, 2);
  const std::size_t packed = number(archive, local + 18, 4);
  require(begin + packed <= central, "the data lies before the directory");
  ZipEntry entry;
  entry.name = archive.substr(central + kCentralBytes, nameBytes);
  require(archive.compare(local + kLocalBytes, nameBytes, entry.name) == 0, "both headers name the same");
  entry.method = static_cast<unsigned>(number(archive, local + 8, 2));
  entry.content = archive.substr(begin, packed);
  const std::size_t size = number(archive, local + 22, 4);
  if (entry.method == Z_DEFLATED) entry.content = inflated(entry.content, size);
  require(entry.content.size() == size, "stored data has the size that is told");
  const uLong crc = crc32(0, reinterpret_cast<const Bytef*>(entry.content.data()), static_cast<uInt>(size));
  require(crc == number(archive, local + 14, 4), "the checksum is right");
  return entry;
}

}  // namespace

std::vector<ZipEntry> readZip(const std::string& archive) {
  require(archive.size() >= kEndRecordBytes, "there is an end record");
  const std::size_t end = archive.size() - kEndRecordBytes;
  require(number(archive, end, 4) == 0x06054b50, "the archive ends in its end record");
  const std::size_t count = number(archive, end + 10, 2);
  std::size_t central = number(archive, end + 16, 4);
  require(central + number(archive, end + 12, 4) == end, "the directory ends where the end record begins");
  std::vector<ZipEntry> entries;
  for (std::size_t i = 0; i < count; ++i) {
    entries.push_back(readEntry(archive, central));
    central += kCentralBytes + number(archive, central + 28, 2) + number(archive, central + 30, 2) +
               number(archive, central + 32, 2);
  }
  require(central == end, "the directory has the entries that are told");
  return entries;
}

}  // namespace fuzzing

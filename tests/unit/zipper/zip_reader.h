#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <zlib.h>

#include "support/temp_dir.h"

namespace testing_support {

/// One entry as the bytes of the archive tell it, read without the library that wrote them.
struct ZipEntry {
  std::string name;
  unsigned method = 0, flags = 0, text = 0, localExtraBytes = 0;
  std::uint64_t stamps = 0;  // date and time, central and local, and all attributes but "text": to be 0
  std::string content = "(not what its CRC tells)";
};

inline std::uint64_t number(const std::string& bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  while (size-- > 0) value = value << 8U | static_cast<unsigned char>(bytes.at(at + size));
  return value;
}

inline std::string inflateRaw(const std::string& data, std::size_t size) {
  std::string result(size + 1, '\0');
  z_stream stream{};
  inflateInit2(&stream, -MAX_WBITS);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = reinterpret_cast<Bytef*>(result.data());
  stream.avail_out = static_cast<uInt>(result.size());
  const bool whole = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
  result.resize(whole ? stream.total_out : 0);
  inflateEnd(&stream);
  return result;
}

/// Reads an archive of less than 65,535 entries and 4 GiB.
inline std::vector<ZipEntry> readZip(const fs::path& path) {
  const std::string zip = readFile(path);
  const std::size_t end = zip.rfind("PK\5\6");
  if (end == std::string::npos) ADD_FAILURE() << path << " has no end record";
  std::vector<ZipEntry> entries(end == std::string::npos ? 0 : number(zip, end + 10, 2));
  std::size_t at = entries.empty() ? 0 : number(zip, end + 16, 4);
  for (ZipEntry& entry : entries) {
    EXPECT_EQ(zip.substr(at, 4), "PK\1\2");
    const std::size_t local = number(zip, at + 42, 4);
    EXPECT_EQ(zip.substr(local, 4), "PK\3\4");
    EXPECT_EQ(zip.substr(local + 6, 4), zip.substr(at + 8, 4)) << "flags and method";
    EXPECT_EQ(zip.substr(local + 14, 12), zip.substr(at + 16, 12)) << "CRC and sizes";
    entry.flags = static_cast<unsigned>(number(zip, at + 8, 2));
    entry.method = static_cast<unsigned>(number(zip, at + 10, 2));
    entry.text = static_cast<unsigned>(number(zip, at + 36, 2));
    entry.stamps = number(zip, at + 12, 4) | number(zip, local + 10, 4) | number(zip, at + 38, 4);
    entry.localExtraBytes = static_cast<unsigned>(number(zip, local + 28, 2));
    entry.name = zip.substr(at + 46, number(zip, at + 28, 2));
    EXPECT_EQ(zip.substr(local + 30, entry.name.size()), entry.name);
    const std::size_t data = local + 30 + entry.name.size() + entry.localExtraBytes;
    std::string content = zip.substr(data, number(zip, at + 20, 4));
    if (entry.method == Z_DEFLATED) content = inflateRaw(content, number(zip, at + 24, 4));
    const auto* bytes = reinterpret_cast<const Bytef*>(content.data());
    if (number(zip, at + 16, 4) == crc32(0, bytes, static_cast<uInt>(content.size())))
      entry.content = content;
    at += 46 + entry.name.size() + number(zip, at + 30, 2) + number(zip, at + 32, 2);
  }
  return entries;
}

}  // namespace testing_support

#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <tuple>
#include <vector>

#include <zlib.h>

namespace testing_support {

/// Name, content and method of one entry of an archive, read without the library that wrote it.
using ZipEntry = std::tuple<std::string, std::string, unsigned>;

inline void mustHold(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(std::string("a bad archive: ") + what);
}

inline std::uint64_t number(const std::string& bytes, std::size_t at, std::size_t size) {
  std::uint64_t value = 0;
  while (size-- > 0) value = value << 8U | static_cast<unsigned char>(bytes.at(at + size));
  return value;
}

inline std::string inflated(const std::string& packed, std::size_t size) {
  std::string text(size + 1, '\0');
  z_stream stream{};
  inflateInit2(&stream, -MAX_WBITS);
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(packed.data()));
  stream.avail_in = static_cast<uInt>(packed.size());
  stream.next_out = reinterpret_cast<Bytef*>(text.data());
  stream.avail_out = static_cast<uInt>(text.size());
  const bool whole = inflate(&stream, Z_FINISH) == Z_STREAM_END && stream.avail_in == 0;
  inflateEnd(&stream);
  mustHold(whole, "data does not end where it should");
  text.resize(stream.total_out);
  return text;
}

/// The entry whose central header begins at `central`.
inline ZipEntry readEntry(const std::string& zip, std::size_t central) {
  const std::size_t local = number(zip, central + 42, 4);
  mustHold(zip.substr(central, 4) == "PK\1\2" && zip.substr(local, 4) == "PK\3\4", "no header");
  mustHold(zip.substr(local + 6, 22) == zip.substr(central + 8, 22), "the headers differ");
  mustHold(number(zip, central + 12, 4) + number(zip, central + 38, 4) == 0, "a time stamp or attributes");
  const std::string name = zip.substr(central + 46, number(zip, central + 28, 2));
  mustHold(zip.substr(local + 30, name.size()) == name, "two names");
  const std::size_t data = local + 30 + name.size() + number(zip, local + 28, 2);
  const std::size_t size = number(zip, central + 24, 4);
  std::string content = zip.substr(data, number(zip, central + 20, 4));
  mustHold(data + content.size() <= central, "data that runs into the directory");
  const auto method = static_cast<unsigned>(number(zip, central + 10, 2));
  if (method == Z_DEFLATED) content = inflated(content, size);
  const uLong crc =
      crc32(0, reinterpret_cast<const Bytef*>(content.data()), static_cast<uInt>(content.size()));
  mustHold(content.size() == size && number(zip, central + 16, 4) == crc, "a wrong size or checksum");
  return {name, content, method};
}

/// The entries of an archive of less than 65,535 entries and 4 GiB, in its order. Throws (out_of_range or
/// runtime_error) when the two headers of an entry differ, anything has a date, or a size or checksum is
/// wrong.
inline std::vector<ZipEntry> readZip(const std::string& zip) {
  const std::size_t end = zip.size() - 22;
  mustHold(zip.size() >= 22 && zip.substr(end, 4) == "PK\5\6", "no end record");
  std::size_t central = number(zip, end + 16, 4);
  std::vector<ZipEntry> entries;
  for (std::uint64_t left = number(zip, end + 10, 2); left > 0; --left) {
    entries.push_back(readEntry(zip, central));
    central +=
        46 + number(zip, central + 28, 2) + number(zip, central + 30, 2) + number(zip, central + 32, 2);
  }
  mustHold(central == end, "a directory of another size");
  return entries;
}

}  // namespace testing_support

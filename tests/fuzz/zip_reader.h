#pragma once

#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

namespace fuzzing {

struct ZipEntry {
  std::string name;
  std::string content;
  unsigned method = 0;

  bool operator==(const ZipEntry& other) const {
    return std::tie(name, content, method) == std::tie(other.name, other.content, other.method);
  }
  bool operator<(const ZipEntry& other) const {
    return std::tie(name, content, method) < std::tie(other.name, other.content, other.method);
  }
};

/// Reads a small archive (no 64-bit fields, no encryption) by its central directory, checks that both headers
/// of an entry agree, that dates are 0 and checksums right. Aborts when anything of that does not hold.
std::vector<ZipEntry> readZip(const std::string& archive);

}  // namespace fuzzing

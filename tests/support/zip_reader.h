#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unzip.h>

#include "support/temp_dir.h"

namespace testing_support {

/// Names and contents of an archive's entries, in its order. The test fails when headers of an entry differ,
/// or its size or checksum is wrong.
inline std::vector<std::pair<std::string, std::string>> readZip(const fs::path& archive) {
  std::vector<std::pair<std::string, std::string>> entries;
  const unzFile zip = unzOpen64(archive.c_str());
  EXPECT_NE(zip, nullptr) << archive;
  for (int found = unzGoToFirstFile(zip); found == UNZ_OK; found = unzGoToNextFile(zip)) {
    unz_file_info64 info{};
    std::string name(65'535, '\0');
    unzGetCurrentFileInfo64(zip, &info, name.data(), name.size(), nullptr, 0, nullptr, 0);
    name.resize(info.size_filename);
    std::string content(info.uncompressed_size, '\0');
    EXPECT_EQ(unzOpenCurrentFile(zip), UNZ_OK) << name;
    const int read = unzReadCurrentFile(zip, content.data(), static_cast<unsigned>(content.size()));
    EXPECT_EQ(read, static_cast<int>(content.size())) << name;
    EXPECT_EQ(unzCloseCurrentFile(zip), UNZ_OK) << name;
    entries.emplace_back(std::move(name), std::move(content));
  }
  unzClose(zip);
  return entries;
}

}  // namespace testing_support

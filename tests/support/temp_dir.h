#pragma once

#include <fstream>
#include <string>

#include <boost/filesystem/operations.hpp>

namespace testing_support {

namespace fs = boost::filesystem;

/// A folder of its own for a test, which works in it; removed with everything in it afterwards.
class TempDir {
 public:
  TempDir() : path_(fs::temp_directory_path() / fs::unique_path("logcollect-%%%%%%%%")) {
    fs::create_directories(path_);
    fs::current_path(path_);
  }
  ~TempDir() {
    fs::current_path("/");
    fs::remove_all(path_);
  }
  TempDir(const TempDir&) = delete;

 private:
  const fs::path path_;
};

inline void writeFile(const fs::path& path, const std::string& content) {
  if (path.has_parent_path()) fs::create_directories(path.parent_path());
  std::ofstream(path.string(), std::ios::binary) << content;
}

inline std::string readFile(const fs::path& path) {
  std::ifstream stream(path.string(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace testing_support

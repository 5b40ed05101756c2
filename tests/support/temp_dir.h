#pragma once

#include <fstream>
#include <string>

#include <boost/filesystem/operations.hpp>

namespace testing_support {

namespace fs = boost::filesystem;

/// A folder of its own for a test, removed with everything in it afterwards.
class TempDir {
 public:
  TempDir() : path_(fs::temp_directory_path() / fs::unique_path("logcollect-%%%%%%%%")) {
    fs::create_directories(path_);
  }
  ~TempDir() { fs::remove_all(path_); }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  [[nodiscard]] fs::path operator/(const std::string& name) const { return path_ / name; }
  [[nodiscard]] const fs::path& path() const { return path_; }

 private:
  fs::path path_;
};

inline fs::path writeFile(const fs::path& path, const std::string& content) {
  fs::create_directories(path.parent_path());
  std::ofstream(path.string(), std::ios::binary) << content;
  return path;
}

inline std::string readFile(const fs::path& path) {
  std::ifstream stream(path.string(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace testing_support

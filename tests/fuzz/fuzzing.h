#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>

#include <boost/filesystem/operations.hpp>

#include "logging/logger.h"

/// What a fuzzer's entry point is called by the library that drives it, and by replay_main.cpp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

namespace fs = boost::filesystem;

/// Ends the process, as a crash does, when something that must hold does not.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

/// Takes an input apart; what is asked for beyond its end is zero or empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : data_(data), left_(size) {}

  [[nodiscard]] bool empty() const { return left_ == 0; }

  unsigned byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }

  unsigned below(unsigned end) { return byte() % end; }

  std::string text(std::size_t length) {
    length = length < left_ ? length : left_;
    std::string taken(reinterpret_cast<const char*>(data_), length);
    data_ += length;
    left_ -= length;
    return taken;
  }

  std::string rest() { return text(left_); }

  /// A file name: one byte of length, then bytes, without those that no name can hold.
  std::string name() {
    std::string name = text(below(24));
    for (char& c : name) {
      if (c == '/' || c == '\0') c = '\n';
    }
    return name.empty() || name == "." || name == ".." ? "x" + name : name;
  }

 private:
  const std::uint8_t* data_;
  std::size_t left_;
};

/// A folder for the whole process, in memory where there is one, and the tool's log inside it.
class Workshop {
 public:
  Workshop() {
    char pattern[] = "/dev/shm/logcollect-fuzz-XXXXXX";
    char fallback[] = "/tmp/logcollect-fuzz-XXXXXX";
    const char* made = mkdtemp(pattern);
    if (made == nullptr) made = mkdtemp(fallback);
    require(made != nullptr, "a folder to work in can be made");
    path_ = made;
    quelmar::LoggerOptions options;
    options.logFile = (path_ / "fuzz.log").string();
    options.maxFileBytes = 1 << 20;
    options.debugSwitch = (path_ / "debug").string();
    quelmar::Logger::GetInstance().setOptions(options);
  }
  ~Workshop() {
    boost::system::error_code ec;
    fs::remove_all(path_, ec);
  }
  Workshop(const Workshop&) = delete;
  Workshop& operator=(const Workshop&) = delete;

  fs::path operator/(const std::string& name) const { return path_ / name; }

  /// The path of an empty folder of this name.
  [[nodiscard]] fs::path fresh(const std::string& name) const {
    fs::remove_all(path_ / name);
    fs::create_directory(path_ / name);
    return path_ / name;
  }

 private:
  fs::path path_;
};

inline Workshop& workshop() {
  static Workshop instance;
  return instance;
}

inline void writeFile(const fs::path& path, const std::string& content) {
  std::ofstream(path.string(), std::ios::binary) << content;
}

inline std::string readFile(const fs::path& path) {
  std::ifstream stream(path.string(), std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

}  // namespace fuzzing

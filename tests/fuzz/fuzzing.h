#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "support/log_capture.h"

/// What a fuzzer's entry point is called by the library that drives it, and by replay_main.cpp.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzzing {

namespace fs = boost::filesystem;
using testing_support::readFile;
using testing_support::writeFile;

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

  unsigned byte() { return left_ == 0 ? 0 : (--left_, *data_++); }

  unsigned below(std::size_t end) { return byte() % static_cast<unsigned>(end); }

  std::string text(std::size_t length) {
    length = length < left_ ? length : left_;
    std::string taken(reinterpret_cast<const char*>(data_), length);
    data_ += length;
    left_ -= length;
    return taken;
  }

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

/// The path of an empty folder of this name, in a folder of the process that holds the tool's log too.
inline fs::path freshFolder(const std::string& name) {
  static const testing_support::LogCapture workshop;
  fs::remove_all(workshop.dir() / name);
  fs::create_directory(workshop.dir() / name);
  return workshop.dir() / name;
}

}  // namespace fuzzing

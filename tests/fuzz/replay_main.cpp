// Runs a fuzzer's entry point over the files of the folders given, so that a corpus can be replayed with any
// compiler.
#include <iostream>

#include "fuzzing.h"
#include "support/confine.h"

int main(int argc, char** argv) {
  testing_support::confine();
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const fuzzing::fs::directory_entry& entry : fuzzing::fs::directory_iterator(argv[i])) {
      const std::string content = fuzzing::readFile(entry.path());
      std::cout << entry.path().string() << std::endl;
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
      ++count;
    }
  }
  std::cout << count << " inputs" << std::endl;
  return count > 0 ? 0 : 1;
}

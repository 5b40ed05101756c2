#include <boost/filesystem/operations.hpp>

#include "support/confine.h"

/// Called by the fuzzing library before it reads the arguments. New inputs go into the first folder among
/// these.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  std::string findings;
  for (int i = *argc - 1; i > 0; --i) {
    if (boost::filesystem::is_directory((*argv)[i])) findings = (*argv)[i];
  }
  testing_support::confine(findings);
  return 0;
}

// confined [--writable PATH] COMMAND...: runs a command confined, as root of its namespaces. Where that is
// not possible it runs nothing and ends with 77, in CI with 1.
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "support/confine.h"

int main(int argc, char** argv) {
  char** command = argv + 1;
  const char* writable = "";
  if (argc > 3 && std::strcmp(argv[1], "--writable") == 0) {
    writable = argv[2];
    command += 2;
  }
  if (*command == nullptr) return 2;
  if (!testing_support::confine(writable, testing_support::Rights::kOfRoot)) return 77;
  execvp(*command, command);
  std::perror(*command);
  return 127;
}

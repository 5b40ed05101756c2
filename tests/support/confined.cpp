// confined [--nesting] [--writable PATH] COMMAND...: runs a command confined, as root of its namespaces; with
// --nesting, tests that it starts confine themselves once more. Where that is not possible it runs nothing
// and ends with 77, in CI with 1.
#include <cstdio>
#include <cstring>

#include <unistd.h>

#include "support/confine.h"

int main(int argc, char** argv) {
  char** command = argv + 1;
  const auto takes = [&](const char* option, int words) {
    const bool given = argv + argc - command > words && std::strcmp(*command, option) == 0;
    if (given) command += words;
    return given;
  };
  const auto nesting = takes("--nesting", 1) ? testing_support::Nesting::kYes : testing_support::Nesting::kNo;
  const char* const writable = takes("--writable", 2) ? command[-1] : "";
  if (*command == nullptr) return 2;
  if (!testing_support::confine(writable, testing_support::Rights::kOfRoot, nesting)) return 77;
  execvp(*command, command);
  std::perror(*command);
  return 127;
}

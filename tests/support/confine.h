#pragma once

#include <cstdio>
#include <cstdlib>
#include <vector>

#include <unistd.h>

namespace testing_support {

/// Runs this program again with these arguments, by confined.py, which confines it or makes it that of an
/// ordinary user. Returns only when that has been done. To be called first in main.
inline void confine(std::vector<const char*> arguments) {
  if (std::getenv("CONFINED") != nullptr && access("/", W_OK) != 0) return;
  arguments.insert(arguments.begin(), {CONFINED, "--plain"});
  arguments.push_back(nullptr);
  execv(CONFINED, const_cast<char**>(arguments.data()));
  std::perror(CONFINED);
  std::_Exit(1);
}

}  // namespace testing_support

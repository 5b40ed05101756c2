#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

namespace testing_support {

/// Runs this program again with these arguments, by confined.py, which confines it or makes it that of an
/// ordinary user. Returns only when that has been done. To be called first in main.
inline void confine(std::vector<const char*> arguments) {
  std::string first;  // the name of process 1
  std::getline(std::ifstream("/proc/1/comm"), first);
  if (first == "confined" || (std::getenv("UNCONFINED") != nullptr && geteuid() != 0)) return;
  arguments.insert(arguments.begin(), {CONFINED, "--plain"});
  arguments.push_back(nullptr);
  execv(CONFINED, const_cast<char**>(arguments.data()));
  std::perror(CONFINED);
  std::_Exit(1);
}

}  // namespace testing_support

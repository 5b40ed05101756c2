#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include <sys/types.h>

// Stands in for the macOS frameworks: answers what a test sets, and keeps count of every object it hands out.
struct FakeFrameworks {
  bool somebodyAtConsole = true;
  std::string consoleUser;
  /// Answers by domain mask; a mask that is not there is answered with nothing at all.
  std::map<unsigned long, std::vector<std::string>> folders;
  bool conversionFails = false;

  std::map<pid_t, pid_t> processes;  ///< with their parents; -1 for one that has ended meanwhile
  int processesAnswer = 0;
  int spawnError = 0;  ///< when not 0, no process can be started
  std::vector<int> handedOn;

  unsigned long askedKind = 0;
  bool askedForTilde = false;
  /// Objects that still await their release, and open autorelease pools with what is in them. An access to
  /// any other object fails the test.
  std::set<const void*> alive;
  std::vector<std::vector<const void*>> pools;
};

/// The frameworks' state; a test assigns a fresh one.
FakeFrameworks& frameworks();

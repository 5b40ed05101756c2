#pragma once

#include <cstdint>
#include <string>

#include "base/descriptor.h"

namespace quelmar::platform {

/// A command line that /bin/sh runs in a session of its own: standard input is /dev/null, standard output a
/// pipe to this process, standard error this process's, all signals are at their defaults, no other
/// descriptor is handed on.
class Command {
 public:
  /// Starts the line. No file that the command writes grows beyond `maxFileBytes`, or beyond the limit that
  /// this process has. @return 0, or the error number when the shell cannot be started
  int start(const std::string& line, std::uintmax_t maxFileBytes = UINTMAX_MAX);

  /// Reads what the command prints, as fread does: fewer than `size` bytes only at the end.
  std::size_t read(char* buffer, std::size_t size);

  /// Closes the output and waits until the shell has exited. Unless `keepBackground`, what it left running in
  /// the background is ended then. @return true when the shell's exit status is 0
  bool wait(bool keepBackground = false);

  /// Ends the command, if it runs, and its offspring. Thread-safe, unlike the others.
  void end();

 private:
  utilities::Descriptor output_;
  pid_t pid_ = -1;
};

/// Ends all commands and their offspring; with this the end of the process begins: nobody comes back from
/// Command::start and Command::wait any more. Blocks a second at most.
void endCommands();

}  // namespace quelmar::platform

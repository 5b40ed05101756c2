#pragma once

#include <cstdint>
#include <string>

#include "base/descriptor.h"

namespace quelmar::platform {

/// A command line run by /bin/sh in a session of its own. Standard input is /dev/null, standard output a pipe
/// to this process, standard error is inherited, no other descriptor is. All signals have their default
/// action.
class Command {
 public:
  /// Starts the command line.
  /// @param maxFileBytes  the size that no file which the command writes can exceed (RLIMIT_FSIZE); the limit
  ///                      of this process holds too
  /// @return 0, or the error number when the shell cannot be started
  int start(const std::string& line, std::uintmax_t maxFileBytes = UINTMAX_MAX);

  /// Reads what the command prints. Blocks until `size` bytes have come or the output has ended.
  /// @return the number of bytes read; less than `size` only at the end of the output or after an error
  std::size_t read(char* buffer, std::size_t size);

  /// Closes the output, waits until the shell has exited, and kills the background processes that it has left
  /// in its process group, unless `keepBackground` is true. @return true when the shell's exit status is 0
  bool wait(bool keepBackground = false);

  /// Kills the command, if it runs, and its descendants. Unlike the other functions it may be called by
  /// another thread. Blocks for a second at most.
  void end();

 private:
  utilities::Descriptor output_;
  pid_t pid_ = -1;
};

/// Kills all running commands and their descendants. To be called when the process is about to exit: after
/// it, Command::start and Command::wait block for ever, so no thread can start a command or act on a killed
/// one. Blocks for a second at most.
void endCommands();

}  // namespace quelmar::platform

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include <sys/types.h>

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
  std::size_t read(char* buffer, std::size_t size) { return std::fread(buffer, 1, size, output_.get()); }

  /// Closes the output, waits until the shell has exited, and kills the background processes that it has left
  /// in its process group, unless `keepBackground` is true. @return true when the shell's exit status is 0
  bool wait(bool keepBackground = false);

  /// Kills the command, if it runs, and its descendants. Unlike the other functions it may be called by
  /// another thread. Blocks for a second at most.
  void end();

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> output_{nullptr, &std::fclose};
  pid_t pid_ = -1;
};

/// What became of a command that had a limit.
struct Outcome {
  int startError = 0;      ///< the error number when the shell could not be started
  bool inTime = false;     ///< it was started and ended within the limit
  bool succeeded = false;  ///< ... and its exit status was 0
};

/// Runs a command line, drops what it prints, and kills it and its descendants when `limit` has passed.
/// Background processes of a command that has ended in time keep running.
Outcome runCommand(std::chrono::seconds limit, const std::string& line);

/// Kills all running commands and their descendants. To be called when the process is about to exit: after
/// it, Command::start and Command::wait block for ever, so no thread can start a command or act on a killed
/// one. Blocks for a second at most.
void endCommands();

}  // namespace quelmar::platform

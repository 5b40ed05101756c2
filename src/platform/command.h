#pragma once

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>

#include <sys/types.h>

namespace quelmar::platform {

/// A command line run by /bin/sh in a session of its own. Standard input is /dev/null, standard output a pipe to this
/// process, standard error is inherited. All signals have their default action.
class Command {
 public:
  /// @param file  handed on as descriptor 3; -1 for none
  /// @return 0, or the error number when the shell cannot be started
  int start(const std::string& line, int file = -1);

  /// Reads what the command prints.
  /// @return the number of bytes; less than `size` only at the end of the output or after an error
  std::size_t read(char* buffer, std::size_t size) { return std::fread(buffer, 1, size, output_.get()); }

  /// Closes the output, waits until the shell has exited, and kills the background processes that it has left in its
  /// process group, unless `keepBackground` is true. @return the shell's exit status; for a signal 128 and its number
  int wait(bool keepBackground = false);

  /// Kills the command and its descendants; one that is being started, as soon as that is done. Thread-safe.
  void end();

 private:
  std::unique_ptr<FILE, int (*)(FILE*)> output_{nullptr, &std::fclose};
  pid_t pid_ = -1;
  bool isToEnd_ = false;
};

/// Runs a command line, drops what it prints, and kills it and its descendants when `limit` has passed. Background
/// processes of a command that has ended in time keep running.
/// @return the exit status (see Command::wait), -ETIMEDOUT, or the negative error number when it could not be started
int runCommand(std::chrono::seconds limit, const std::string& line);

/// Kills all running commands and their descendants, also those whose start is not done: for these it waits a second at
/// most. Command::start and Command::wait block for ever then, so that nothing is started or logged any more.
void endCommands();

}  // namespace quelmar::platform

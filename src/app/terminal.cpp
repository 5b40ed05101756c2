#include "app/terminal.h"

#include <sys/select.h>
#include <termios.h>
#include <unistd.h>

namespace quelmar::terminal {

bool acceptsOutput() {
  termios settings{};
  if (runIsInBackground() && tcgetattr(STDERR_FILENO, &settings) == 0 && (settings.c_lflag & TOSTOP) != 0) {
    return false;
  }
  fd_set descriptors;
  FD_ZERO(&descriptors);
  FD_SET(STDERR_FILENO, &descriptors);
  timeval now{};
  // Not poll: on some hosts it does not work on terminals.
  return select(STDERR_FILENO + 1, nullptr, &descriptors, nullptr, &now) == 1;
}

bool runIsInBackground() {
  const pid_t foreground = tcgetpgrp(STDERR_FILENO);
  return foreground > 0 && foreground != getpgrp();
}

}  // namespace quelmar::terminal

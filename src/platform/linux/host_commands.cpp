#include "platform/host_commands.h"

namespace quelmar::platform {

const HostCommands& hostCommands() {
  return linuxCommands();
}

}  // namespace quelmar::platform

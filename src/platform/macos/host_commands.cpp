#include "platform/host_commands.h"

namespace quelmar::platform {

const HostCommands& hostCommands() {
  return macosCommands();
}

}  // namespace quelmar::platform

// In place of this host's: with the command lines of macOS, the tool writes its reports on fake commands anywhere.
#include "platform/host_commands.h"

const quelmar::platform::HostCommands& quelmar::platform::hostCommands() { return macosCommands(); }

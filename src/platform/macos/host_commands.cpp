#include "platform/host.h"

namespace quelmar::platform {

const HostCommands& hostCommands() {
  static const auto* const kTable = new HostCommands{
      {
          {"os info", {"cat /System/Library/CoreServices/SystemVersion.plist >> "}},
          {"netcard", {"ifconfig >> "}},
          {"user info", {"ps aux | grep -v grep | grep loginwindow >> "}},
          // Without "grep -v grep" the next two list the grep process too: kept on purpose.
          {"obrela process info", {"ps aux | grep oBrela >> "}},
          {"ferngateway process info", {"ps aux | grep FernGateway  >> "}},
          {"plist info", {"launchctl list | grep oBrela >> "}},
          {"route info", {"ifconfig utun7 >> ", "netstat -nr | grep utun7 >> "}},
          {"resolv dns info", {"cat /etc/resolv.conf >> "}},
      },
      {},
      {"/Library/LaunchDaemons", "/Library/LaunchAgents"},
      "log show --start \"{}\" --end \"{}\" --predicate 'eventMessage contains \"quelmar\"' >> ",
  };
  return *kTable;
}

}  // namespace quelmar::platform

#include "platform/host.h"

namespace quelmar::platform {

const HostCommands& hostCommands() {
  static const auto* const kTable = new HostCommands{
      {
          {"os info", {"cat /etc/os-release >> ", "uname -a >> "}},
          {"netcard", {"ip -s address >> "}},
          {"user info", {"who -a >> ", "loginctl --no-pager list-sessions >> "}},
          {"obrela process info", {"ps aux | grep oBrela >> "}},
          {"ferngateway process info", {"ps aux | grep FernGateway  >> "}},
          {"plist info", {"systemctl --no-pager --all list-units | grep oBrela >> "}},
          {"route info", {"ip address show utun7 >> ", "ip route show table all | grep utun7 >> "}},
          {"resolv dns info", {"cat /etc/resolv.conf >> "}},
      },
      {"systemctl --no-pager --all list-units --type=service >> ",
       "systemctl --no-pager list-unit-files --type=service >> "},
      {"/etc/systemd/system", "/etc/xdg/autostart"},
      "journalctl --no-pager --since \"{}\" --until \"{}\" --case-sensitive=yes --grep='quelmar' >> ",
  };
  return *kTable;
}

}  // namespace quelmar::platform

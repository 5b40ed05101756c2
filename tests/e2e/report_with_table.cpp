// Usage: report_with_table linux|macos FOLDER. Writes both reports with the command lines of that host.
#include <string>

#include "platform/host_commands.h"
#include "sysinfo/system_info.h"
#include "sysinfo/system_wide_log.h"

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  const std::string folder = argv[2];
  const auto& table = argv[1] == std::string("macos") ? quelmar::platform::macosCommands()
                                                      : quelmar::platform::linuxCommands();
  quelmar::logutils::macos::collectSystemInfo(folder + "/system_info.log", table);
  quelmar::logutils::macos::collectSystemWideLog(folder, table);
  return 0;
}

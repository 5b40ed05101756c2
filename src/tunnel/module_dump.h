#pragma once

#include <cstdint>
#include <string>

namespace quelmar {

/// The local TCP port in a service's port file, <shared data folder>/var/run/[subFolder/]serviceName.
/// @param processName  the service's process, used in log records only
/// @return the port; 0 when the file is missing or has no valid port (logged)
std::uint16_t getServicePortViaPath(const std::string& processName, const std::string& serviceName,
                                    const std::string& subFolder);

/// The port of the tunnel service's debug server; 0 when it is not known (logged).
std::uint16_t getHttpDebugPort();

/// Writes the tunnel service's dump of its modules (4 MiB at most), or why there is none, into the tool's own log. The
/// port file may be on a share that does not answer, so the caller may give this up.
void dumpXTunnelProc();

}  // namespace quelmar

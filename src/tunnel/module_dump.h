#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace quelmar {

/// Reads a port file's content as a port number.
/// @param text  the content; loses all its blanks, tabs and line feeds
/// @return 1 to 65535; 0 when it is out of range; nothing when the text is no decimal number
std::optional<std::uint16_t> parsePort(std::string& text);

/// The local TCP port that a service of the client has published in its port file, <shared data
/// folder>/var/run/[subFolder/]serviceName.
/// @param processName  the service's process, used in log records only
/// @param subFolder    may be empty
/// @return the port; 0 when the file is missing or has no valid port (logged)
std::uint16_t getServicePortViaPath(const std::string& processName, const std::string& serviceName,
                                    const std::string& subFolder);

/// The port of the tunnel service's debug server; 0 when it is not known (logged).
std::uint16_t getHttpDebugPort();

/// Writes the tunnel service's dump of its modules, or why there is none, into the tool's own log and flushes that. Of
/// a dump longer than 4 MiB only the beginning is kept (logged). The exchange has a limit; reading the port file, which
/// may be on a share, has none, so the caller may give this up.
void dumpXTunnelProc();

}  // namespace quelmar

#pragma once

#include <cstdint>
#include <string>

namespace quelmar {

/// A port file's content, parsed as a port number.
struct PortText {
  std::string digits;      ///< the content without blanks, tabs and line feeds
  bool isNumber = false;   ///< whether `digits` is not empty and has only ASCII digits
  std::uint16_t port = 0;  ///< 1 to 65535; 0 when it is out of range or not a number
};

/// Parses a port file's content. Blanks, tabs and line feeds are ignored wherever they are.
PortText parsePort(const std::string& content);

/// Looks up the local TCP port that a service of the client has published in its port file, <shared data
/// folder>/var/run/[subFolder/]serviceName.
/// @param processName  the service's process, used in log records only.
/// @param serviceName  the port file's name.
/// @param subFolder    may be empty.
/// @return the port, 1 to 65535; 0 when the file is missing or has no valid port (logged).
std::uint16_t getServicePortViaPath(const std::string& processName, const std::string& serviceName,
                                    const std::string& subFolder);

/// The port of the tunnel service's debug server; 0 when it is not known (logged).
std::uint16_t getHttpDebugPort();

/// Fetches the tunnel service's module dump over its loopback debug port, writes it into the tool's own log and flushes
/// the log. Of a dump longer than 4 MiB only the beginning is kept (logged). Blocks for the exchange's limit at most,
/// but for the port file's file system, which may not answer at all: the caller may give it up, since it uses nothing
/// of the caller's. A failure is logged as one error record.
void dumpXTunnelProc();

}  // namespace quelmar

#pragma once

#include <cstdint>
#include <string>

namespace quelmar {

/// Reads the content of a port file as a port number. Blanks, tabs and line feeds are ignored wherever they
/// stand; anything else but ASCII digits makes the content invalid.
struct PortText {
  std::string digits;      ///< the content without blanks, tabs and line feeds
  bool isNumber = false;   ///< not empty and nothing but digits
  std::uint16_t port = 0;  ///< 1 to 65535, or 0 when out of range or no number
};
PortText parsePort(const std::string& content);

/// Looks up the local TCP port that a service of the client has published in its port file, <shared data
/// folder>/var/run/[subFolder/]serviceName.
/// @param processName  named in log records only.
/// @param subFolder    may be empty.
/// @return the port, or 0 when there is no valid one (logged). Never throws on a missing or bad file.
std::uint16_t getServicePortViaPath(const std::string& processName, const std::string& serviceName,
                                    const std::string& subFolder);

/// The port of the tunnel service's debug server, or 0.
std::uint16_t getHttpDebugPort();

}  // namespace quelmar

#pragma once

namespace quelmar {

/// Fetches the tunnel service's module dump over its loopback debug port and writes it whole into the tool's
/// own log, then flushes the log. Blocks at most 30 seconds. Never throws: every failure is one error record.
void dumpXTunnelProc();

}  // namespace quelmar

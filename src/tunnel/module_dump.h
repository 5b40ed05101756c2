#pragma once

namespace quelmar {

/// Fetches the tunnel service's module dump over its loopback debug port, writes it into the tool's own log
/// and flushes the log. Of a dump longer than 4 MiB only the beginning is kept (logged). Blocks at most 30
/// seconds. Never throws: a failure is logged as one error record.
void dumpXTunnelProc();

}  // namespace quelmar

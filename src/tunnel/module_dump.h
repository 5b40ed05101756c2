#pragma once

namespace quelmar {

/// Fetches the tunnel service's module dump over its loopback debug port, writes it into the tool's own log and flushes
/// the log. Of a dump longer than 4 MiB only the beginning is kept (logged). Blocks at most 30 seconds, but for the
/// port file's file system, which may not answer at all: the caller may give it up and go on without it, since it uses
/// nothing of the caller's. A failure is logged as one error record, never thrown.
void dumpXTunnelProc();

}  // namespace quelmar

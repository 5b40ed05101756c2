"""Archives of made-up machines: one is healthy, each other has one fault. For the viewer's tests and pictures."""
import json
import random
import time
import zipfile

END = 1795286731  # 2026-11-21 18:45:31
BANNER = "=" * 34 + " %s " + "=" * 34 + "\n"
OWN = "[%s] [%s] [7] [LogCollectionTool:%s:9] %s\n"
JOBS = "oBrelaTunnel oBrelaTray oBrelaAgent".split()
# For each fault: words of its cause, (file, level, lines) that stand once a minute since some minutes, jobs that do not run
# with their status, modules of the tunnel, and what else is different.
FAULTS = {
    "healthy": ("", [], {}, {}),
    "crash": ("SIGSEGV", [("oBrelaAgent", "error", "tunnel service 7{0} exited on SIGSEGV, restart {0}"),
                          ("oBrelaTray", "error", "connect to 127.0.0.1:7{0}: connection refused")], {"oBrelaTunnel": -11}, {}),
    "certificate": ("certificate has expired", [("oBrelaTunnel", "error", "TLS handshake with 192.0.2.7:443 failed: certificate has expired"),
                                                ("oBrelaTunnel", "warning", "retry {0}")], {}, {"trustTunnel": "state=down"}),
    "portal": ("Connection reset by peer", [("oBrelaTray", "error", "GET /portal/login?try={0}: Connection reset by peer")], {}, {}),
    "database": ("disk image is malformed", [("oBrelaTray", "error", "open session.db: database disk image is malformed ({0})"),
                                             ("oBrelaTray", "error", "start ended with status 1")], {"oBrelaTray": 1}, {}),
    "names": ("SERVFAIL", [("oBrelaTunnel", "error", "query {0} for intra.example: SERVFAIL from 10.8.0.1")], {}, {"DNS": "upstream 10.8.0.1: timeout"}),
    "agent": ("QMUem: library not loaded", [("QMUem", "error", "QMUem: library not loaded, exit {0}")], {}, {}),
}


def stamp(seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S.123", time.gmtime(END + seconds))


def report(program, seconds, version="7.3.12"):
    frames = [{"symbol": "TlsSession::verify", "imageIndex": 0, "symbolLocation": 88}]
    body = {"procName": program, "captureTime": stamp(seconds), "exception": {"type": "EXC_BAD_ACCESS"}, "faultingThread": 0,
            "threads": [{"frames": frames}], "usedImages": [{"name": program}]}
    return json.dumps({"app_version": version, "timestamp": stamp(seconds)}) + "\n" + json.dumps(body)


def files(name):
    """The files of a machine's archive: content by name."""
    _, lines, dead, modules = FAULTS[name]
    chance, found = random.Random(1), {}
    jobs = "".join("%s\t%d\tcom.quelmar.%s\n" % ("-" if job in dead else 400 + n, dead.get(job, 0), job) for n, job in enumerate(JOBS))
    processes = "".join("anna 40%d 0.1 /Library/quelmar/SDP/oBrela.app/%s\n" % (n, job) for n, job in enumerate(JOBS) if job not in dead)
    sections = {"os info": "<key>ProductVersion</key>\n<string>15.1</string>\n", "netcard": "en0: flags\n\tinet 192.0.2.20\n",
                "obrela process info": processes + "anna 9 sh -c ps aux | grep oBrela\n", "plist info": jobs,
                "route info": "utun7: flags\n\tinet 10.8.0.2\n10.8/16 10.8.0.2 UCS utun7\n", "resolv dns info": "nameserver 192.0.2.1\n"}
    found["system_info.log"] = "".join(BANNER % title + text for title, text in sections.items())
    states = {**dict.fromkeys(("selectLine", "lineDetector", "trustTunnel", "DNS"), "state=up errors=0 lastError: none"), **modules}
    found["LogColltionTool.log"] = OWN % (stamp(0), "info", "main", "Collection log start") + (
        OWN % (stamp(1), "error", "dumpXTunnelProc", "dump xtunnel failed.; Reason: http reply failed, ec:Connection refused") +
        OWN % (stamp(1), "error", "getHttpDebugPort", "get service port failed; Reason: process:x ,service:y") if dead.get("oBrelaTunnel") else
        OWN % (stamp(1), "info", "dumpXTunnelProc", "xtunnel dump:\n" + "\n".join("[%s] %s" % row for row in states.items()))
        ) + OWN % (stamp(2), "info", "main", "end")
    logs = {job: "logs/anna/%s.log" % job for job in JOBS}
    logs["QMUem"] = "logs/uem_anna/QMUem.log"
    found["logs/uem_anna/system_state.log"] = BANNER % "UEM processes" + ("" if name == "agent" else "root 77 QMUem\n") + \
        BANNER % "SIP state" + "System Integrity Protection status: enabled.\n"
    for program, path in logs.items():
        rows = [(-60 * minute, "error" if chance.random() < 0.02 else "info", "session %d kept" % minute) for minute in range(1300, 0, -1)]
        rows = [(at, level, "cache miss, fetch failed: %d" % at if level == "error" else text) for at, level, text in rows]
        for where, level, text in lines:
            if where == program:
                rows += [(-60 * minute + 1, level, text.format(minute)) for minute in range(50, 0, -1)]
        found[path] = "".join("[%s] [%s] [41] %s\n" % (stamp(at), level, text) for at, level, text in sorted(rows))
    if name == "crash":
        for n in range(1, 6):
            found["logs/anna/diagnosticReports/oBrelaTunnel-2026-11-21-18%02d.ips" % n] = report("oBrelaTunnel", -600 * n)
        found["logs/uem_anna/DiagnosticReports/oBrelaTunnel-2026-11-21-1801.ips"] = report("oBrelaTunnel", -600)
    found["logs/uem_anna/DiagnosticReports/Other-2026-11-20-0100.ips"] = report("Other", -90000, "1")
    return found


def archive(name, path, more=()):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as packed:
        for entry, content in {**files(name), **dict(more)}.items():
            packed.writestr(entry, content)

"""Archives of made-up machines: one is healthy, each other has one fault. For the viewer's tests and pictures."""
import json
import random
import time
import zipfile

END = 1795286731  # 2026-11-21 18:45:31
BANNER = "=" * 34 + " %s " + "=" * 34 + "\n"
OWN = "[%s] [%s] [7] [LogCollectionTool:main:9] %s\n"
JOBS = "oBrelaTunnel oBrelaTray oBrelaAgent".split()
LOST = ["dump xtunnel failed.; Reason: http reply failed, ec:refused",
        "get service port failed; Reason: process:x ,service:y"]
# For each fault what is said in which log, each minute since 50 minutes; a job that ended, a module that is not well.
FAULTS = {
    "healthy": {},
    "crash": {"oBrelaAgent": "tunnel service {0} exited on SIGSEGV, restart {0}", "ended": ("oBrelaTunnel", -11),
              "oBrelaTray": "connect to 127.0.0.1:7{0}: connection refused"},
    "certificate": {"oBrelaTunnel": "TLS handshake {0} failed: certificate has expired", "module": "trustTunnel"},
    "portal": {"oBrelaTray": "GET /portal/login?try={0}: Connection reset by peer"},
    "database": {"oBrelaTray": "open session.db: database disk image is malformed ({0})", "ended": ("oBrelaTray", 1)},
    "names": {"oBrelaTunnel": "query {0} for intra.example: SERVFAIL from 10.8.0.1", "module": "DNS"},
    "agent": {"QMUem": "QMUem: library not loaded, exit {0}"}}


def stamp(seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S.123", time.gmtime(END + seconds))


def report(program, seconds, version):
    body = {"procName": program, "captureTime": stamp(seconds), "exception": {"type": "EXC_BAD_ACCESS"},
            "faultingThread": 0, "threads": [{"frames": [{"symbol": "TlsSession::verify"}]}]}
    return json.dumps({"app_version": version}) + "\n" + json.dumps(body)


def sections(**texts):
    return "".join(BANNER % title.replace("_", " ") + text for title, text in texts.items())


def archive(name, path):
    fault, chance = FAULTS[name], random.Random(1)
    dead, status = fault.get("ended", ("", 0))
    dump = "xtunnel dump:\n[selectLine] up\n[VNIC] up errors=0 lastError: none\n[%s] down" % fault.get("module")
    told = [("error", text) for text in LOST] if dead == JOBS[0] else [("info", dump.replace("[None] down", ""))]
    jobs = [("-\t%d" % status if job == dead else "40\t0") + "\tcom.quelmar.%s\n" % job for job in JOBS]
    files = {
        "LogColltionTool.log": "".join(
            OWN % (stamp(n), *row) for n, row in enumerate([("info", "Collection log start")] + told)),
        "system_info.log": sections(
            os_info="<key>ProductVersion</key>\n<string>15.1</string>\n", netcard="en0: flags\n\tinet 192.0.2.20\n",
            obrela_process_info="".join("anna 40 %s\n" % job for job in JOBS if job != dead) + "anna 9 grep oBrela\n",
            plist_info="".join(jobs), route_info="utun7: flags\n\tinet 10.8.0.2\n10.8/16 10.8.0.2 UCS utun7\n",
            resolv_dns_info="nameserver 192.0.2.1\n"),
        "logs/uem_anna/system_state.log": sections(
            UEM_processes="" if name == "agent" else "root 77 QMUem\n", SIP_state="enabled\n"),
        "logs/uem_anna/DiagnosticReports/Other-2026-11-20-0100.ips": report("Other", -90000, "1")}
    for program in JOBS + ["QMUem"]:
        rows = [(-60 * n, "error cache miss %d" % n if chance.random() > 0.98 else "info kept") for n in range(1300)]
        rows += [(-60 * n + 1, "error " + fault[program].format(n)) for n in range(1, 51) if program in fault]
        files["logs/%s/%s.log" % ("uem_anna" if program == "QMUem" else "anna", program)] = "".join(
            "[%s] [%s] [41] %s\n" % (stamp(at), *text.split(" ", 1)) for at, text in sorted(rows))
    for n in range(5 * (name == "crash")):
        for folder in ("anna/diagnosticReports", "uem_anna/DiagnosticReports"):
            files["logs/%s/oBrelaTunnel-2026-11-21-180%d.ips" % (folder, n)] = report(JOBS[0], -600 * (n + 1), "7.3.12")
    with zipfile.ZipFile(path, "w") as packed:
        for entry, content in files.items():
            packed.writestr(entry, content)

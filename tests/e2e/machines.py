"""Archives of made-up machines: one is healthy, each other has one fault. For the viewer's tests and pictures."""
import json
import random
import time
import zipfile

END = 1795286731  # 2026-11-21 18:45:31
BANNER = "=" * 34 + " %s " + "=" * 34 + "\n"
OWN = "[%s] [%s] [7] [LogCollectionTool:main:9] %s\n"
JOBS = "oBrelaTunnel oBrelaTray oBrelaAgent".split()
LOST = "dump xtunnel failed.; Reason: http reply failed, ec:refused", "get service port failed; Reason: process:x ,service:y"
# For each fault: log and line of what is said each minute since 50 minutes; the job that ended and its status; a module of
# the tunnel that is not well.
FAULTS = {
    "healthy": ([], ("", 0), None),
    "crash": ([("oBrelaAgent", "tunnel service {0} exited on SIGSEGV, restart {0}"),
               ("oBrelaTray", "connect to 127.0.0.1:7{0}: connection refused")], ("oBrelaTunnel", -11), None),
    "certificate": ([("oBrelaTunnel", "TLS handshake {0} failed: certificate has expired")], ("", 0), "trustTunnel"),
    "portal": ([("oBrelaTray", "GET /portal/login?try={0}: Connection reset by peer")], ("", 0), None),
    "database": ([("oBrelaTray", "open session.db: database disk image is malformed ({0})"),
                  ("oBrelaTray", "start ended with status 1")], ("oBrelaTray", 1), None),
    "names": ([("oBrelaTunnel", "query {0} for intra.example: SERVFAIL from 10.8.0.1")], ("", 0), "DNS"),
    "agent": ([("QMUem", "QMUem: library not loaded, exit {0}")], ("", 0), None)}


def stamp(seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S.123", time.gmtime(END + seconds))


def report(program, seconds, version):
    body = {"procName": program, "captureTime": stamp(seconds), "exception": {"type": "EXC_BAD_ACCESS"}, "faultingThread": 0,
            "threads": [{"frames": [{"symbol": "TlsSession::verify", "imageIndex": 0}]}], "usedImages": [{"name": program}]}
    return json.dumps({"app_version": version}) + "\n" + json.dumps(body)


def sections(**texts):
    return "".join(BANNER % title.replace("_", " ") + text for title, text in texts.items())


def archive(name, path):
    said, (dead, status), bad = FAULTS[name]
    chance, dump = random.Random(1), "xtunnel dump:\n[selectLine] up\n[VNIC] up errors=0\n[%s] %s"
    told = [("error", text) for text in LOST] if dead == JOBS[0] else [
        ("info", dump % ((bad, "down") if bad else ("VNIC", "lastError: none")))]
    files = {"LogColltionTool.log": "".join(OWN % (stamp(n), *row) for n, row in enumerate([("info", "Collection log start")] + told)),
             "system_info.log": sections(
                 os_info="<key>ProductVersion</key>\n<string>15.1</string>\n", netcard="en0: flags\n\tinet 192.0.2.20\n",
                 obrela_process_info="".join("anna 40 %s\n" % job for job in JOBS if job != dead) + "anna 9 sh -c ps aux | grep oBrela\n",
                 plist_info="".join("%s\t%d\tcom.quelmar.%s\n" % (*(("-", status) if job == dead else (40, 0)), job) for job in JOBS),
                 route_info="utun7: flags\n\tinet 10.8.0.2\n10.8/16 10.8.0.2 UCS utun7\n", resolv_dns_info="nameserver 192.0.2.1\n"),
             "logs/uem_anna/system_state.log": sections(UEM_processes="" if name == "agent" else "root 77 QMUem\n", SIP_state="enabled\n"),
             "logs/uem_anna/DiagnosticReports/Other-2026-11-20-0100.ips": report("Other", -90000, "1")}
    for program in JOBS + ["QMUem"]:
        rows = [(-60 * n, "info session kept") if chance.random() < 0.98 else (-60 * n, "error cache miss %d" % n) for n in range(1300)]
        rows += [(-60 * n + 1, "error " + text.format(n)) for where, text in said if where == program for n in range(1, 51)]
        files["logs/%s/%s.log" % ("uem_anna" if program == "QMUem" else "anna", program)] = "".join(
            "[%s] [%s] [41] %s\n" % (stamp(at), *text.split(" ", 1)) for at, text in sorted(rows))
    for n in range(1, 6) if name == "crash" else ():
        for folder in ("anna/diagnosticReports", "uem_anna/DiagnosticReports"):
            files["logs/%s/oBrelaTunnel-2026-11-21-18%02d.ips" % (folder, n)] = report("oBrelaTunnel", -600 * n, "7.3.12")
    with zipfile.ZipFile(path, "w") as packed:
        for entry, content in files.items():
            packed.writestr(entry, content)

"""Whole runs: every record in order, progress lines, archive and clean-up, by mode."""
import os
import re
import time
import zipfile

import sandbox
from sandbox import ALWAYS, APP, OWN_LOG, ROOT_DIR, SCRATCH, SHARED

STDOUT = """app path:/opt/tool/LogCollectionTool
set sdp agent current work path /opt/tool
Start collecting logs...
name:root uid:0
log dir:/Users/root/Library/Application Support/oBrela/logs log name:LogColltionTool.log
log debug file path:/Library/Application Support/oBrela/debug
Collection log completed.
"""
AGENTS = ["okvu_agent_sys", "okvu_agent_user", "okvu_packman", "okvu_service", "okvusp_driver"]
GONE = "code:2 msg:No such file or directory"


def records(text):
    """Expected records, one a line: level, function, message; "!" stands for the report of a missing source."""
    text = re.sub("!(.*)", r"Source directory \1 not exist.; Reason: " + GONE, text)
    return [tuple(line.lstrip().split(" ", 2)) for line in text.splitlines()]


MAIN = """info main Collection log start
          info main begin flush log ...
          info main begin compress running log to ARCHIVE ...
          info main end compress running log to ARCHIVE
          info main begin clear cache log
          info main clear cache log done
          info main Collection log completed"""
SYSTEM_INFO = """info collectSystemInfo wait for collectSystemInfo ...
                 info collectSystemInfo wait for collectSystemInfo done"""
TUNNEL = """info operator() begin dump trust xtunnel process info ...
            error getServicePortViaPath get service port failed; Reason: process:oBrelaAgent ,service:debugserver
            error dumpXTunnelProc dump xtunnel failed.; Reason: http reply failed, ec:TEXT
            info operator() end dump trust xtunnel proces info"""
STATE = "\n".join("info collectSystemStateForUem collectSystemStateForUem start collect " + what + "\n"
                  "info collectSystemStateForUem collectSystemStateForUem collect " + what + " done, ret=true"
                  for what in ("uem process", "kernel state", "SIP state", "KEXT state"))
WIDE_LOG = """info collectSystemWideLog collectSystemWideLog start
              info collectSystemWideLog collectSystemWideLog done, ret=true"""
INSTALLER = ["/var/log/quelmar/sdp/oBrelaInstallOut.log", SCRATCH + "/logs/oBrelaInstallOut.log"]
RUNNING = f"""info operator() begin collect running log {SCRATCH} ...
    error collectRunningLog copy_file {" to ".join(INSTALLER)} failed.; Reason: {GONE}
    error collectRunningLog getCurrentLoginUser failed.
    info collectRunningLog collect uem logs...
    info collectRunningLog copy uem logs ...
    warning copyDir !/Library/Application Support/uem/logs/quelmarlogs
    info collectRunningLog copy user crash logs ...
    warning copyDir !/Users/root/Library/Logs/DiagnosticReports
    info collectRunningLog copy system crash logs ...
    warning copyDir !/Library/Logs/DiagnosticReports
    info collectRunningLog start uem system state collection thread ...
    info collectRunningLog collect user files ...
    info checkIsCollectOkvuLog okvuLogPath original size(0M), will collect
    {chr(10).join("warning copyDir !/var/log/quelmar/OKVU3_LOG/" + agent for agent in AGENTS)}
    warning copyDir !{SHARED}/netData
    warning copyDir !/Users/root{SHARED}/database
    warning copyDir !/Users/root{SHARED}/nsdbase
    warning copyDir !/Users/root/Library/Logs/DiagnosticReports
    warning copyDir !/Users/root{SHARED}/Electron Crashes
    info collectRunningLog copy shared database ...
    warning copyDir !{SHARED}/database
    info collectRunningLog copy iddbase ...
    warning copyDir !{SHARED}/iddbase
    info collectRunningLog copy dump files ...
    warning copyDir !{SHARED}/Crash
    error copyFile2Dir !{APP}
    error collectRunningLog copy portal file sdpc_md5.json failed.
    error copyFile2Dir !{APP}/static
    error collectRunningLog copy portal file .portal.json failed.
    error collectRunningLog launchd.log not exist, not collected.
    info collectRunningLog wait for uem collect system state log ...
    info collectRunningLog wait for uem collect system state done
    info collectRunningLog wait for uem collect system log ...
    info collectRunningLog wait for uem collect system done
    info collectRunningLog collectRunningLog done
    info operator() end collect running log {SCRATCH} """


class Runs(sandbox.Case):
    def check_log(self, box, main):
        """Compares the records thread by thread, and that all workers' lie between preparation and packing."""
        # Written to after the reference time, the own log may be too young for a key log.
        log, threads = [x for x in box.log() if not x.message.endswith(OWN_LOG + ") will ignore")], {}
        for line in log:
            message = re.sub(r"(http reply failed, ec:).+", r"\1TEXT", line.message)
            threads.setdefault(line.thread, []).append((line.level, line.function, message))
        main = records(main.replace("ARCHIVE", ROOT_DIR + "/" + box.archives()[0]))
        expected = [records(text) for text in (SYSTEM_INFO, TUNNEL, RUNNING, STATE, WIDE_LOG)]
        self.assertEqual(sorted(threads.values()), sorted(expected + [main]))
        mine = [line.thread == log[0].thread for line in log]
        self.assertEqual(mine, [True] * (len(main) - 5) + [False] * (len(log) - len(main)) + [True] * 5)

    def test_default_run_on_a_bare_machine(self):
        box, now = self.box(), time.time()
        east = 23 - time.gmtime(now).tm_hour  # archives are named by local time; it is 11 at night there
        result = box.run(env={"TZ": "LCT-%d" % east})
        self.assertEqual(result.out, STDOUT)
        told = [line for line in result.err.splitlines() if not line.startswith("sh: ")]
        self.assertRegex("|".join(told), r"\A\[LogCollectionTool:getServicePortViaPath:\d+\]: [^|]+\Z")
        stamp = re.fullmatch(r"oBrelaLog_2\.5\.16\.20_(\d{14})\.zip", box.archives()[0])[1]
        stamps = [time.strftime("%Y%m%d%H%M%S", time.gmtime(t + east * 3600)) for t in (now, time.time())]
        self.assertTrue(stamps[0] <= stamp <= stamps[1], stamp)
        self.check_log(box, MAIN)
        self.assertEqual(os.listdir(box.path(ROOT_DIR)), box.archives(), "only the archive stays")
        archive, contents, whole = ROOT_DIR + "/" + box.archives()[0], box.zip(), box.read(OWN_LOG)
        self.assertEqual(set(contents), ALWAYS)
        packed = contents["LogColltionTool.log"]
        self.assertEqual(whole[:len(packed)], packed)
        self.assertRegex(whole[len(packed):], rb"\A.* begin compress running log to", "complete up to the packing")
        self.assertEqual(box.calls("open"), [["-R", archive]])
        self.assertEqual(box.calls("chmod"), [["-R", "666", OWN_LOG], ["-R", "777", SCRATCH]])
        with zipfile.ZipFile(box.path(archive)) as packed:  # deflated at the best level, null time stamp, nothing more
            self.assertEqual({(i.compress_type, i.flag_bits & 0x47, i.date_time, i.extra, i.comment, i.external_attr)
                              for i in packed.infolist()}, {(8, 2, (1980, 0, 0, 0, 0, 0), b"", b"", 0)})

    def test_modes(self):
        box = self.box()
        self.assertIn("Collection log completed.\n", box.run("--onlyKey", "--quiet").out)
        self.check_log(box, MAIN.replace("info main begin flush", "info main Collection log(onlyKey) is enable\n"
                                                                  "info main begin flush"))
        box.run("-kq", "--dir=/out")
        self.assertEqual((box.calls("open"), len(box.archives("/out"))), ([], 1))
        self.assertEqual(len(box.calls("chmod")), 3, "an own log that is there already keeps its mode")


if __name__ == "__main__":
    sandbox.main()

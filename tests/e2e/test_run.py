"""Whole runs by mode: every record in order, progress lines, archive and clean-up; and runs that end early."""
import os
import re
import signal
import time
import zipfile

import sandbox
from sandbox import ALWAYS, MS_RDONLY, OWN_LOG, ROOT_DIR, SCRATCH, printed



class Runs(sandbox.Case):
    def check_log(self, box, main_has=""):
        """Compares the records thread by thread, and that all workers' lie between preparation and packing."""
        # Written to after the reference time, the own log may be too young for a key log.
        log, threads = [x for x in box.log() if not x.message.endswith(OWN_LOG + ") will ignore")], {}
        for line in log:
            message = re.sub(r"(http reply failed, ec:).+", r"\1TEXT", line.message)
            threads.setdefault(line.thread, []).append("%s %s %s" % (line.level, line.function, message))
        expected = sandbox.expected("bare_machine.log").replace("ARCHIVE", ROOT_DIR + "/" + box.archives()[0])
        expected = expected.replace("info main begin flush", main_has + "info main begin flush")
        self.assertEqual(sorted("\n".join(lines) for lines in threads.values()), sorted(expected.rstrip("\n").split("\n\n")))
        mine, main = [line.thread == log[0].thread for line in log], len(threads[log[0].thread])
        self.assertEqual(mine, [True] * (main - 5) + [False] * (len(log) - main) + [True] * 5)

    def test_default_run_on_a_bare_machine(self):
        box, now = self.box(), time.time()
        east = 23 - time.gmtime(now).tm_hour  # archives are named by local time; it is 11 at night there
        result = box.run(env={"TZ": "LCT-%d" % east})
        self.assertEqual(result.out, sandbox.expected("stdout"))
        told = [line for line in result.err.splitlines() if not line.startswith("sh: ")]
        self.assertRegex("|".join(told), r"\A\[LogCollectionTool:getServicePortViaPath:\d+\]: [^|]+\Z")
        stamp = re.fullmatch(r"oBrelaLog_2\.5\.16\.20_(\d{14})\.zip", box.archives()[0])[1]
        stamps = [time.strftime("%Y%m%d%H%M%S", time.gmtime(t + east * 3600)) for t in (now, time.time())]
        self.assertTrue(stamps[0] <= stamp <= stamps[1], stamp)
        self.check_log(box)
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
        self.check_log(box, "info main Collection log(onlyKey) is enable\n")
        box.run("-kq", "--dir", "/out/with blank")
        self.assertEqual(box.zip("/out/with blank")["logs/system_wide.log"].decode(), printed("journalctl", *box.calls("journalctl")[1]))
        self.assertIn(["-R", "777", "/out/with", "blank/logFiles"], box.calls("chmod"))
        self.assertEqual((box.calls("open"), len(box.archives("/out/with blank"))), ([], 1))
        self.assertEqual(len(box.calls("chmod")), 3, "an own log that is there already keeps its mode")

    def test_runs_that_touch_nothing(self):
        box = self.box()
        before = box.tree()
        usage = r"usage: /opt/tool/LogCollectionTool \[options\] \.\.\. \noptions:\n(  -.+\n){5}\n"
        for arguments, out, err in (("--help", "", usage), ("-d /out --help -v", "", usage),
                                    ("-qkv --dir=/out --foo", "2.2.10.300", "")):
            result = box.run(*arguments.split())
            self.assertEqual(result.out, out)
            self.assertRegex(result.err, r"\A%s\Z" % err)
        box.run(argv0="LogCollectionTool", status=-signal.SIGABRT)  # no folder to change to
        self.assertEqual(box.tree(), before)

    def test_early_ends(self):
        """(arguments, read-only /tmp, bytes missing on /drive) -> status and the records after the first."""
        no_root = ("error", "ensureLogRootDir", "ensureDirectoryExist /tmp/oBrelaLog failed.")
        full = "Log collection failure; Reason: The space of the drive where the (/drive/out) resides is full"
        for arguments, read_only, missing, status, after in (
                (["--dir=/link"], MS_RDONLY, 0, 161, [no_root, ("error", "main", "ensureLogRootDir /link failed.")]),
                (["--dir=/drive/out"], 0, 4096, 163, [("error", "main", full)]), (["--dir=/drive/out"], 0, 0, 0, None)):
            with self.subTest(status):
                box = self.box()
                sandbox.mount("tmpfs", box.path("/tmp"), "tmpfs", read_only)
                box.link("/nowhere", "/link")
                box.make(os.mkdir, "/drive")
                sandbox.mount("tmpfs", box.path("/drive"), "tmpfs", 0, "size=%d" % (524288000 - missing))
                out = box.run(*arguments, status=status).out
                self.assertEqual(("Collection log completed.\n" in out, len(box.calls("open"))), (not status, not status))
                if after:
                    self.assertEqual([x[1:] for x in box.log()], [("info", "main", "Collection log start")] + after)

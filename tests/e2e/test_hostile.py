"""What the tool may meet on a disk, and what it must not touch."""
import os
import socket
import subprocess

import sandbox
from sandbox import APP, LAUNCHD, OWN_LOG, ROOT_DIR, SCRATCH, SHARED

LOGS, REPORTS = "/Users/ada" + SHARED + "/logs/", "/Library/Logs/DiagnosticReports/"
AGENT = "/var/log/quelmar/OKVU3_LOG/okvu_service/"
DOCUMENTS = "/Users/ada/Documents"
KEEP = DOCUMENTS + "/keep.txt"
FIXED = ("/var/log/quelmar/sdp/oBrelaInstallOut.log", LAUNCHD, SHARED + "/var/run/debugserver", SHARED + "/debug",
         APP + "/sdpc_md5.json", OWN_LOG)


class Hostile(sandbox.Case):
    def survive(self, box, *arguments, **how):
        """One run that must end well and leave ada's documents alone; returns the archive's content."""
        box.put(KEEP, "precious", mode=0o640)
        box.put(DOCUMENTS + "/deep/keep.log", "precious")
        before = box.tree(DOCUMENTS)
        box.run(*arguments, **how)
        self.assertEqual(box.tree(DOCUMENTS), before)
        return box.zip()

    def test_names(self):
        box, expected = self.box(console="ada"), set()
        for name in ("new\nline", "quo'te\"", "$(touch pwned)", "`touch pwned`;touch pwned;", "-rf", "\udcff\udcfe",
                     "%s{}{0}%n", "n" * 251, " lead and trail ", ".", "*"):
            nested = "dir%s/%s" % (name[:200], name)
            for path in LOGS + name + ".log", LOGS + nested + ".log", REPORTS + name + ".ips", LOGS + name + ".exe":
                box.put(path, "x")
            expected |= {"logs/ada/" + name + ".log", "logs/ada/" + nested + ".log",
                         "logs/uem_ada/DiagnosticReports/" + name + ".ips"}
        found = self.survive(box)
        self.assertEqual({n for n in found if n.startswith(("logs/ada/", "logs/uem_ada/D"))}, expected)
        self.assertEqual([path for path in box.tree() if path.endswith("/pwned")], [])
        self.assertIn("The condition not met, the filePath(%s%%s{}{0}%%n.exe) will ignore" % LOGS, box.messages())

    def test_links_and_special_files(self):
        """A link to a file is that file's content; no other one is copied or waited for. A copy that is there already stays."""
        box = self.box(console="ada", fakes={"chmod": "cd %s && mkdir -p logs/ada && echo early >logs/ada/plain.log && "
                                             "echo early >logs/OKVU" % SCRATCH})
        for folder, ext in ((LOGS, ".log"), (AGENT, ".log"), (REPORTS, ".ips")):
            box.put(folder + "plain" + ext, "plain")
            box.make(os.mkfifo, folder + "fifo" + ext)
            with socket.socket(socket.AF_UNIX) as listener:
                os.chdir(box.path(folder))  # the whole path is too long for a socket
                listener.bind("socket" + ext)
                os.chdir("/")
            for name, target in (("loop", "."), ("up" + ext, ".."), ("root", "/"), ("dangling" + ext, "/nowhere"),
                                 ("self" + ext, "self" + ext), ("device" + ext, "/dev/zero"), ("docs", DOCUMENTS),
                                 ("link" + ext, KEEP)):
                box.link(target, folder + name)
        found = self.survive(box)
        expected = {folder + name + ext: text for name, text in (("plain", b"plain"), ("link", b"precious"))
                    for folder, ext in (("logs/ada/", ".log"), ("logs/OKVU/okvu_service/", ".log"),
                                        ("logs/uem_ada/DiagnosticReports/", ".ips"))}
        self.assertEqual({n: c for n, c in found.items() if n.startswith("logs/") and "system_" not in n and "root" not in n},
                         {**expected, "logs/ada/plain.log": b"early\n"})

    def test_fixed_files_that_are_something_else(self):
        for kind in (os.mkfifo, os.mkdir, lambda p: os.symlink("/dev/zero", p), lambda p: os.symlink("/nowhere", p)):
            box = self.box(console="ada")
            for path in FIXED:
                box.make(kind, path)
            box.link("/", LOGS[:-1])
            writers = [subprocess.Popen(["sh", "-c", ': >"$0"', box.path(path)]) for path in FIXED * (kind is os.mkfifo)]
            found = self.survive(box)
            self.assertEqual([writer.poll() for writer in writers], [None] * len(writers), "a FIFO was opened")
            for writer in writers:
                writer.kill()
                writer.wait()
            self.assertEqual({n for n in found if "logs/" not in n},
                             {"system_info.log"} if kind is os.mkdir else {"LogColltionTool.log", "system_info.log"})
            self.assertEqual([n for n in found if n.startswith("logs/ada")], [], "the whole disk was copied")

    def test_ordinary_user_meets_closed_doors(self):
        self.need_second_user()
        for data, own in (("relative", "/home/some/.local/share"), ("/data", "/data"), ("/closed", None)):
            box = self.box(console="ada")
            for folder, mode in (("/home/some", 0o755), ("/data", 0o755), ("/closed", 0o555)):
                box.make(os.makedirs, folder, mode)
                os.chown(box.path(folder), 65534, 65534)
            for name, mode in (("open.log", 0o644), ("closed.log", 0), ("closed/x.log", 0o644)):
                box.put(LOGS + name, "x", mode=mode)
            os.chmod(box.path(LOGS + "closed"), 0o700)
            found = self.survive(box, "--dir=/not/allowed", user=65534, env={"XDG_DATA_HOME": data})
            self.assertEqual({n for n in found if n.startswith("logs/ada/")}, {"logs/ada/open.log"})
            self.assertNotIn("666", [call[1] for call in box.calls("chmod")])
            log = [line.message for line in box.log(own + "/oBrela/logs/LogColltionTool.log")] if own else []
            self.assertEqual(("LogColltionTool.log" in found, log[-1:]), (bool(own), ["Collection log completed"] * bool(own)))

    def test_standard_streams_closed_or_full(self):
        for redirection in ("<&- >&- 2>&-", ">&-", "2>&-", ">/dev/full 2>/dev/full", "3<>/gone >/gone 2>/gone 3>&-"):
            box = self.box()
            box.make(os.mkfifo, "/gone")  # to be written to, and nobody reads it any more
            found = self.survive(box, shell='exec "$@" ' + redirection)
            self.assertEqual(set(found), sandbox.ALWAYS, redirection)
            self.assertNotRegex(b"".join(found.values()), b"app path:|completed\\.|argument not found", redirection)

    def test_files_that_come_grow_and_go(self):
        box = self.box(console="ada")
        for number in range(2000):
            box.put("%s%d/%d.log" % (LOGS, number % 7, number), "x" * number)
        churn = subprocess.Popen(["sh", "-c", "while :; do seq 2000 >gone.log; echo line >>grow.log; rm gone.log; done"],
                                 cwd=box.path(LOGS))
        self.addCleanup(churn.wait)
        self.addCleanup(churn.kill)
        found = self.survive(box)
        self.assertEqual(sum(len(c) for n, c in found.items() if n.count("/") == 3), sum(range(2000)))
        self.assertEqual(found["logs/ada/grow.log"].replace(b"line\n", b""), b"")

    def test_runs_at_once_in_the_same_folder(self):
        for _ in range(4):
            box = self.box(console="ada")
            for number in range(300):
                box.put("%s%d/%d.log" % (LOGS, number % 7, number), "x")
            for started in [box.start(), box.start("-k"), box.start("--dir=" + ROOT_DIR)]:
                box.finish(started)
            self.assertEqual(box.messages().count("Collection log completed"), 3)

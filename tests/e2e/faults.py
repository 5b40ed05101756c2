"""What the fault tests share. Each fault test's docstring is its row of docs/reliability.md: fault | how | outcome."""
import os
import re
import zipfile

import sandbox
from sandbox import ROOT_DIR, SHARED

LOGS = "/Users/ada" + SHARED + "/logs/"
VICTIM = "/Users/ada/Documents"
FILL = """fill() { fallocate -l $(($(stat -f -c '%a * %S' "$1") - $2)) "$1/filler"; }\n"""
SANITIZED = any(name in os.environ.get("LOGTOOL", "") for name in ("/asan/", "/tsan/"))


def until(condition):
    while not condition():
        os.sched_yield()


class FaultCase(sandbox.Case):
    def box(self, drive=None, **options):
        """A box where ada is logged in and has one log; `drive`: MiB of a volume of its own at /drive."""
        box = super().box(console="ada", **options)
        box.put(LOGS + "kept.log", "kept")
        box.put(VICTIM + "/keep.log", "precious", mode=0o640)
        if drive:
            os.mkdir(box.path("/drive"))
            sandbox.mount("tmpfs", box.path("/drive"), "tmpfs", 0, "size=%dm" % drive)
            self.addCleanup(sandbox.libc.umount2, box.path("/drive").encode(), sandbox.MNT_DETACH)
        return box

    def failing(self, box, calls, path, error, first=1, times=10**9):
        """The environment in which these calls of the tool's fail on paths like this one: see failing_calls.cpp."""
        if not os.path.exists(box.path("/failing_calls.so")):
            box.bind(os.environ["FAILING_CALLS"], "/failing_calls.so")
        names = calls.split() + [name + "64" for name in calls.split()]
        return {"LD_PRELOAD": "/failing_calls.so", "FAIL_CALL": ",%s," % ",".join(names), "FAIL_PATH": path,
                "FAIL_ERRNO": str(error), "FAIL_FROM": str(first), "FAIL_TIMES": str(times)}

    def peak(self, box, **how):
        """A run; returns the most memory it had at once, in KiB, asked for while it shows the archive."""
        box.put("/fakes/open", "#!/bin/sh\ncat /gate\n", mode=0o755)
        os.mkfifo(box.path("/gate"))
        started = box.start(**how)
        with open(box.path("/gate"), "w"), open("/proc/%d/status" % started[0].pid) as file:
            peak = int(re.search(r"VmHWM:\s*(\d+) kB", file.read())[1])
        box.finish(started)
        return peak

    def assertWhole(self, box, folder=ROOT_DIR, logs=(("kept.log", b"kept"),)):
        """One archive, nothing beside it, with the log, the report and ada's logs; returns its content."""
        self.assertEqual(sorted(os.listdir(box.path(folder))), box.archives(folder))
        contents = box.zip(folder)
        self.assertIn("system_info.log", contents)
        self.assertIn(b"Collection log start", contents["LogColltionTool.log"])
        for name, text in logs:
            self.assertEqual(contents["logs/ada/" + name], text, name)
        return contents

    def assertTorn(self, box, folder):
        """What is left of the archive is set aside, and no reader takes it for one; the own log tells."""
        self.assertEqual([n.split(".zip")[1] for n in os.listdir(box.path(folder)) if n != "filler"], [".incomplete"])
        self.assertFalse(any(zipfile.is_zipfile(box.path(folder + "/" + n)) for n in box.archives(folder)))
        self.assertRegex("\n".join(box.messages("compressLogs")), r"Generate zip file\(.*\) throw exception; Reason: ")

"""What the fault tests share. Each fault test's docstring is its row of docs/reliability.md: fault | how | outcome."""
import contextlib
import os
import time

from sandbox import Case, FAILING_CALLS, MS_REMOUNT, ROOT_DIR, SHARED, failing, mount, until

LOGS = "/Users/ada" + SHARED + "/logs/"
GATE = "[ -p /gate ] && cat /gate\n"  # a fake command that waits here is let go by FaultCase.held
SANITIZED = any(name in os.environ.get("LOGTOOL", "") for name in ("/asan/", "/tsan/"))


def archive_names(suffix=""):
    """The names that the archive may get in the next minute."""
    stamps = [time.strftime("%Y%m%d%H%M%S", time.gmtime(time.time() + second)) for second in range(60)]
    return ["/oBrelaLog_2.5.16.20_%s.zip%s" % (stamp, suffix) for stamp in stamps]


class FaultCase(Case):
    def box(self, drive=None, **options):
        """A box where ada is logged in and has one log; `drive`: MiB of a volume of its own at /drive."""
        box = super().box(console="ada", **options)
        box.put(LOGS + "kept.log", "kept")
        os.mkfifo(box.path("/gate"))
        if drive:
            os.mkdir(box.path("/drive"))
            mount("tmpfs", box.path("/drive"), "tmpfs", 0, "size=%dm" % drive)
        return box

    @contextlib.contextmanager
    def held(self, box):
        """Waits until a fake command has come to its GATE, and lets it and all later ones go on afterwards."""
        def opened():
            with contextlib.suppress(OSError):
                return os.open(box.path("/gate"), os.O_WRONLY | os.O_NONBLOCK)

        gate = until(opened)
        yield
        os.unlink(box.path("/gate"))
        os.close(gate)

    def fill(self, box, left=0):
        """Takes the drive's free room away but for some bytes, at once: the volume becomes as small as what is in it."""
        room = os.statvfs(box.path("/drive"))
        used = (room.f_blocks - room.f_bfree) * room.f_bsize
        mount("tmpfs", box.path("/drive"), None, MS_REMOUNT, "size=%d" % max(used + left, 1))

    def failing(self, box, calls, path, error, first=1):
        """The environment in which these calls of the tool's fail on paths like this one: see failing_calls.cpp."""
        if "fstat" in calls.split() and "/tsan/" in os.environ["LOGTOOL"]:
            self.skipTest("the thread sanitizer calls an fstat of its own")
        if not os.path.exists(box.path("/fakes/failing_calls.so")):
            box.bind(FAILING_CALLS, "/fakes/failing_calls.so")
        return failing(calls, path, error, first)

    def assertWhole(self, box, folder=ROOT_DIR, logs=(("kept.log", b"kept"),)):
        """One archive, nothing beside it, with the log, the report and ada's logs; returns its content."""
        self.assertEqual(sorted(os.listdir(box.path(folder))), box.archives(folder))
        contents = box.zip(folder)
        self.assertIn("system_info.log", contents)
        self.assertIn(b"Collection log start", contents["LogColltionTool.log"])
        for name, text in logs:
            self.assertEqual(contents["logs/ada/" + name], text, name)
        return contents

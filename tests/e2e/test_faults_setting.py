"""Odd time zones, locales and homes, an own log that is full, what is inherited and handed on, and runs that are ended."""
import contextlib
import errno
import os
import re
import signal

from faults import FaultCase, GATE, LOGS
from sandbox import MIB, OWN_LOG, ROOT_DIR, SHARED, SHORT_LIMITS, others, until, wait_until_alone

WAITING = '[ "$2" = %d ] && ' + GATE + 'exec /bin/chmod "$@"'
PHASES = {"set-up": {"chmod": WAITING % 666}, "copying": {"chmod": WAITING % 777}, "reports": {"ps": GATE}, "packing": {},
          "reveal": {"open": GATE}}


class Setting(FaultCase):
    def test_environments(self):
        """Odd TZ, unknown or missing locale; a home folder that is gone, an unknown user | eight settings of TZ, LC_ALL and LANG; HOME names a missing folder, is empty or relative | a whole archive with 14 digits in its name; without a place for it, the own log's records go to standard error"""
        self.need_second_user()
        for user, env in ([(None, {"TZ": zone}) for zone in ("", ":/nowhere", "XYZ+99:99:99", "x" * 5000, ":/dev/zero")] +
                          [(None, {"LC_ALL": name, "LANG": name[:1]}) for name in ("xx_YY.UTF-8", "", "tr_TR.UTF-8")] +
                          [(user, {"HOME": home}) for user, home in ((None, "/gone"), (1000, "/gone"), (1000, "relative"), (4242, ""))]):
            with self.subTest(user=user, env=env):
                box = self.box()
                result = box.run(user=user, env=env)
                self.assertEqual(box.zip()["logs/ada/kept.log"], b"kept")
                self.assertRegex(box.archives()[0], r"^oBrelaLog_2\.5\.16\.20_\d{14}\.zip$")
                self.assertEqual("log isn't inited." in result.err, user is not None)

    def test_own_log_at_its_cap(self):
        """The own log is as large as it may get | 20 MiB when the run starts; the name that it gets is free, or cannot be had | it is kept beside the new one, which holds the whole run; else the run is added to it, and nothing of it is lost"""
        for size, calls, expected in ((20, "", (True, False, True, False)), (20, "renameat", (False, True, True, True)),
                                      (11, "", (False, True, True, False))):
            with self.subTest(calls, size=size):
                box = self.box()
                box.put(OWN_LOG, "x" * 100 + "\n", size=size * MIB)
                box.run(env=self.failing(box, calls, OWN_LOG, errno.EPERM))
                self.assertWhole(box)
                kept, log = os.path.exists(box.path(OWN_LOG.replace(".log", ".1.log"))), box.read(OWN_LOG)
                self.assertEqual((kept, log[:1] == b"x", b"Collection log completed" in log, b"not rotated." in log), expected)

    def test_what_is_inherited(self):
        """Commands that read their standard input, keep files open or need their signals; a tool that is started with signals ignored, and a job of the shell before as its child | one lists what it has been handed, and reads, while the tunnel is asked and SIGINT comes | /dev/null, its report and standard error, no signal ignored or held back; no command counts as failed; an ignored signal ends nothing; the job is still there after the run"""
        box = self.box(fakes={"ps": "mkdir /first 2>/dev/null || exit 0\n" + GATE + "readlink /proc/$$/fd/* >/handed\n"
                                    "grep -E 'Sig(Blk|Ign)' /proc/self/status >/signals; cat; echo >/done"})

        def answer(connection):
            with self.held(box):
                os.kill(started[0].pid, signal.SIGINT)
            until(lambda: os.path.exists(box.path("/done")))
            connection.close()

        box.put(SHARED + "/var/run/debugserver", str(self.server(answer).port))
        started = box.start(shell='setsid sleep 1000000 & echo $! >/job; exec 9</etc/passwd env --ignore-signal=CHLD,INT,XFSZ "$@"')
        self.assertNotIn("changeAllUsersRW", box.finish(started).out)  # the one command whose status counts
        os.kill(int(box.read("/job")), signal.SIGKILL)
        handed = box.read("/handed").decode().split("\n")
        self.assertTrue(handed[0].endswith("/dev/null"), handed)
        self.assertEqual([f for f in handed if "oBrela" in f or "socket:" in f or "passwd" in f], [])
        # The C library keeps two signals beyond these to itself.
        self.assertEqual([int(mask, 16) & 0x7fffffff for mask in re.findall(rb"\t(\w+)", box.read("/signals"))], [0, 0])
        self.assertEqual([m for m in box.messages() if "ret=false" in m], [])

    def test_ended_in_each_phase(self):
        """SIGTERM, SIGINT, SIGHUP or SIGKILL in each phase | set-up, copying, reports, packing, reveal | the run ends by the signal and, but for SIGKILL, its commands with it; every warning is in the log; no archive that is not whole bears its name; the next run removes the remains and makes its own archive"""
        for phase, number in (("set-up", signal.SIGTERM), ("copying", signal.SIGKILL), ("copying", signal.SIGHUP),
                              ("reports", signal.SIGINT), ("packing", signal.SIGTERM), ("packing", signal.SIGKILL),
                              ("reveal", signal.SIGINT)):
            with self.subTest(phase=phase, signal=number), contextlib.ExitStack() as stack:
                box, size = self.box(fakes=PHASES[phase]), 16 * MIB if phase == "packing" else 100
                box.put(LOGS + "noise.log", os.urandom(size))
                started = box.start("--dir=/Users/ada")
                if phase == "packing":
                    until(lambda: os.path.exists(box.path(ROOT_DIR)) and box.archives())
                else:
                    stack.enter_context(self.held(box))
                os.kill(started[0].pid, number)
                box.finish(started, status=-number)
                stack.close()
                for process in others() if number == signal.SIGKILL else ():
                    os.kill(process, signal.SIGKILL)
                wait_until_alone()
                names = box.archives() if os.path.exists(box.path(ROOT_DIR)) else []
                whole = [name for name in names if name.endswith(".zip")]
                self.assertEqual(len(names), 1 if phase in ("packing", "reveal") else 0)
                if whole or phase == "reveal":
                    self.assertLessEqual({"logs/ada/noise.log", "system_info.log"}, set(box.zip()))
                self.assertEqual(len(box.messages("ensureLogRootDir")), phase != "set-up")
                box.run(env={"TZ": "later-1"})
                self.assertEqual(len(self.assertWhole(box)["logs/ada/noise.log"]), size)
                self.assertEqual(len(box.archives()), len(whole) + 1)

    def test_no_command_outlives_the_run(self):
        """A login service that does not answer; a command that outlives its limit, ignores SIGTERM and has started others | the file that the service is asked for blocks whoever opens it; the file browser's command hangs | after their limits (5 and 10 seconds, shorter here) nobody counts as logged in: the report has both listings that need no name, and root's files are in the archive; the run ends with status 0 and takes the command and all its offspring with it"""
        box = self.box(tool=SHORT_LIMITS, fakes={"uname": "sleep 1000000 &", "open": "trap '' TERM HUP\n(setsid sleep 1000000; :) & (yes >/dev/null &) & sleep 1000000"})
        seat, root = "/run/systemd/seats/seat0", "/Users/root" + SHARED
        os.unlink(box.path(seat))
        os.mkfifo(box.path(seat))
        box.put(root + "/logs/root.log", "root")
        box.run()
        wait_until_alone()
        self.assertEqual(self.assertWhole(box, logs=())["logs/root/root.log"], b"root")
        self.assertEqual(box.calls("ls")[:2], [["-l", "-R", SHARED], ["-l", "-R", root]])
        self.assertEqual(box.messages().count("getCurrentLoginUser failed."), 1)

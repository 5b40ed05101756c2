"""Odd time zones, clocks, locales and homes, and an own log that is full."""
import os
import random
import re
import signal

import faults
import sandbox
from faults import LOGS
from sandbox import OWN_LOG, SHARED


class Setting(faults.FaultCase):
    def test_time_zones_and_locales(self):
        """Odd TZ, unknown or missing locale | eleven settings of TZ, LC_ALL and LANG | a whole archive with 14 digits in its name"""
        settings = [{"TZ": zone} for zone in ("", ":", ":/nowhere", "Mars/Olympus", "XYZ+99:99:99", "x" * 5000, ":/dev/zero",
                                              "Pacific/Kiritimati")]
        settings += [{"LC_ALL": "xx_YY.UTF-8", "LANG": "?"}, {"LC_ALL": "", "LANG": ""}, {"LC_ALL": "tr_TR.UTF-8"}]
        boxes = [(self.box(), setting) for setting in settings]
        for box, started, setting in [(box, box.start(env=setting), setting) for box, setting in boxes]:
            with self.subTest(setting):
                box.finish(started)
                self.assertWhole(box)
                self.assertRegex(box.archives()[0], r"^oBrelaLog_2\.5\.16\.20_\d{14}\.zip$")

    def test_home_that_is_gone(self):
        """A home folder that is gone | HOME names a missing folder, is empty or relative; the user is unknown | a whole archive; without a place for it, the own log's records go to standard error"""
        self.need_second_user()
        for user, home in ((None, "/gone"), (1000, "/gone"), (1000, ""), (1000, "relative"), (4242, "")):
            with self.subTest(user=user, home=home):
                box = self.box()
                result = box.run(user=user, env={"HOME": home})
                self.assertEqual(box.zip()["logs/ada/kept.log"], b"kept")
                self.assertEqual("log isn't inited." in result.err, user is not None)

    def test_own_log_at_its_cap(self):
        """The own log is as large as it may get | 20 MiB when the run starts | it is kept beside the new one, which holds the whole run"""
        box = self.box()
        box.put(OWN_LOG, "x" * 100 + "\n", size=20971520)
        box.run()
        self.assertWhole(box)
        self.assertEqual(sorted(os.listdir(os.path.dirname(box.path(OWN_LOG)))), ["LogColltionTool.1.log", "LogColltionTool.log"])

    def test_clock_set_back(self):
        """The wall clock is set back by a day | in the middle of a wait for a command that never ends | the wait ends after its 30 seconds all the same"""
        box = self.box(fakes={"journalctl": "exec sleep 1000000"})
        box.copy(os.environ["CLOCK_BACK"], "/clock_back.so")
        box.run(env={"LD_PRELOAD": "/clock_back.so"})
        self.assertWhole(box)
        self.assertIn("Exec collectSystemWideLog is timeout", box.messages())
        days = re.findall(r"^\[[0-9-]*", box.read(OWN_LOG).decode(), re.M)
        self.assertGreater(days[0], days[-1])

    def test_what_commands_inherit(self):
        """Commands that read their standard input or keep files open | one lists what it has been handed, and reads | /dev/null, its report and standard error; neither the own log nor anything else of the tool's"""
        box = self.box(fakes={"ps": "readlink /proc/$$/fd/* >/handed; cat"})
        box.run()
        self.assertWhole(box)
        handed = box.read("/handed").decode().split("\n")
        self.assertTrue(handed[0].endswith("/dev/null"), handed)
        self.assertEqual([f for f in handed if "oBrela" in f or "socket:" in f], [])

    def test_children_of_the_shell_before(self):
        """A shell starts a job and becomes the tool, whose child the job is from then on | `sleep & exec tool` | the job is still there after the run"""
        box = self.box()
        box.run(shell='setsid sleep 1000000 & echo $! >/job; exec "$@"')
        os.kill(int(box.read("/job")), signal.SIGKILL)

    def test_line_noise(self):
        """A port that answers with line noise | random bytes, alone and behind a good first line | a record in the log, a whole archive"""
        noise = random.Random(1).randbytes(200000)
        for answer in (noise, b"HTTP/1.1 200 OK\r\n" + noise, b"HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n" + noise,
                       b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + noise, b"HTTP/1.1 200 OK\r\n\r\n" + noise):
            with self.subTest(answer[:60]):
                box = self.box()
                box.put(SHARED + "/var/run/debugserver", str(self.server(answer).port))
                box.run()
                self.assertTrue(any(m.startswith(("dump xtunnel failed.", "xtunnel dump:"))
                                    for m in box.messages("dumpXTunnelProc")))
                self.assertWhole(box)


if __name__ == "__main__":
    sandbox.main()

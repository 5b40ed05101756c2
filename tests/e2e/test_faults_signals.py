"""Runs that are ended from outside in each phase, what they leave, and the run after them."""
import os
import signal

import faults
import sandbox
from faults import LOGS, until
from sandbox import ROOT_DIR

GATE = '[ -p /gate ] && cat /gate\n'
PHASES = {"set-up": ("chmod", '[ "$2" = 666 ] && ' + GATE + 'exec /bin/chmod "$@"'),
          "copying": ("chmod", '[ "$2" = 777 ] && ' + GATE + 'exec /bin/chmod "$@"'),
          "reports": ("ps", GATE), "packing": None, "reveal": ("open", GATE)}


NOISE = 32 << 20  # bytes that take a moment to pack


class Signals(faults.FaultCase):
    def killed(self, phase, number):
        gate = PHASES[phase]
        box = self.box(fakes=dict([gate]) if gate else None)
        box.put(LOGS + "noise.log", os.urandom(NOISE if phase == "packing" else 100))
        os.mkfifo(box.path("/gate"))
        started = box.start()
        if gate:
            with open(box.path("/gate"), "w"):
                os.kill(started[0].pid, number)
        else:
            until(lambda: os.path.exists(box.path(ROOT_DIR)) and box.archives())
            os.kill(started[0].pid, number)
        box.finish(started, status=-number)
        os.unlink(box.path("/gate"))
        return box

    def test_killed_in_each_phase(self):
        """SIGTERM, SIGINT or SIGKILL in each phase | set-up, copying, reports, packing, reveal | the run ends by the signal and, but for SIGKILL, its commands with it; no archive that is not whole bears its name; the next run removes the remains and makes its own archive"""
        for phase in PHASES:
            for number in (signal.SIGTERM, signal.SIGINT, signal.SIGKILL):
                with self.subTest(phase=phase, signal=number):
                    box = self.killed(phase, number)
                    for process in sandbox.others() if number == signal.SIGKILL else ():
                        os.kill(process, signal.SIGKILL)
                    sandbox.wait_until_alone()
                    left = box.archives() if os.path.exists(box.path(ROOT_DIR)) else []
                    self.assertEqual(len(left), 1 if phase in ("packing", "reveal") else 0)
                    left = [name for name in left if name.endswith(".zip")]
                    if phase == "reveal" or left:
                        self.assertLessEqual({"logs/ada/noise.log", "system_info.log"}, set(box.zip()))
                    box.run(env={"TZ": "later-1"})
                    contents = self.assertWhole(box)
                    self.assertEqual(len(contents["logs/ada/noise.log"]), NOISE if phase == "packing" else 100)
                    self.assertEqual(len(box.archives()), len(left) + 1)

    def test_no_command_outlives_the_run(self):
        """A command that outlives its limit, ignores SIGTERM and has started others | the file browser's command hangs | after 10 seconds the run ends with status 0 and takes the command and all its offspring with it"""
        box = self.box(fakes={"open": "trap '' TERM HUP\n(setsid sleep 1000000; :) & (yes >/dev/null &) & sleep 1000000"})
        box.run()
        sandbox.wait_until_alone()
        self.assertWhole(box)


if __name__ == "__main__":
    sandbox.main()

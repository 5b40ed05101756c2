"""Runs that are ended from outside in each phase, what they leave, and the run after them."""
import glob
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


def group_members(group):
    found = []
    for path in glob.glob("/proc/[0-9]*/stat"):
        try:
            with open(path) as file:
                state, _, its_group = file.read().rpartition(")")[2].split()[:3]
        except OSError:
            continue  # it has ended meanwhile
        if int(its_group) == group and state not in "ZX":
            found.append(path)
    return found


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
        """SIGTERM, SIGINT or SIGKILL in each phase | set-up, copying, reports, packing, reveal | the run ends by the signal; no archive that is not whole bears its name; the next run removes the remains and makes its own archive"""
        for phase in PHASES:
            # While a command runs in the set-up the C library holds SIGINT back.
            for number in {signal.SIGTERM, signal.SIGINT, signal.SIGKILL} - ({signal.SIGINT} if phase == "set-up" else set()):
                with self.subTest(phase=phase, signal=number):
                    box = self.killed(phase, number)
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
        box = self.box(fakes={"open": "trap '' TERM HUP\n(sleep 1000000; :) & yes >/dev/null & sleep 1000000"})
        process, *files = box.start()
        self.assertEqual(process.wait(), 0)
        until(lambda: not group_members(process.pid))  # the signal is sent; to end takes them a moment
        for file in files:
            file.close()
        self.assertWhole(box)


if __name__ == "__main__":
    sandbox.main()

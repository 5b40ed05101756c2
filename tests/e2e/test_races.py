"""What is no state: several runs at once, and threads that work while a run ends."""
import contextlib
import os

import sandbox
from play import put_machine
from sandbox import LOGS, ROOT_DIR, SCRATCH, held


class Races(sandbox.Case):
    def test_runs_at_once_in_the_same_folder(self):
        """A second run comes and goes while the first one copies, packs, or clears up; or three begin together."""
        for moment in (("pread", LOGS + "a.txt", -1), ("openat", "*/oBrelaLog_*", -1, -2),
                       ("unlinkat", SCRATCH + "/logs", -1), None):
            with self.subTest(moment):
                box = self.box(console="ada")
                put_machine(box)
                box.put("/gate", os.mkfifo)
                runs = [box.start(env=sandbox.failing(*moment))] if moment else [box.start(), box.start("-q")]
                with held(box) if moment else contextlib.nullcontext():
                    box.run("--dir=" + ROOT_DIR)
                for process in runs:
                    box.finish(process)
                left = os.listdir(box.path(ROOT_DIR))
                self.assertEqual([len(box.zip(name)) for name in left if "old" not in name], [34] * (len(runs) + 1))

    def test_workers_that_hang_while_the_run_ends(self):
        """Many runs side by side, so that the waiting is paid once. Their workers hang, or have just gone on."""
        runs = []
        for number in range(12):
            sleep = "exec sleep %g" % (4.9 + number / 50)
            fakes = {"uname": "exec sleep 1000000", "ps": sleep, "journalctl": sleep}
            box = self.box(console="ada", tool=sandbox.SHORT_LIMITS, fakes=fakes)
            put_machine(box)
            runs.append((box, box.start()))
        for box, process in runs:
            box.finish(process)
            self.assertEqual(len(box.zip()), 34)
        sandbox.until(lambda: not sandbox.processes())

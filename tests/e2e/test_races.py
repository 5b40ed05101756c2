"""What is no state: files that change while they are copied, several runs at once, threads that work while a run ends."""
import os
import subprocess

import sandbox
from play import put_sources
from sandbox import ROOT_DIR, SHARED

LOGS = "/Users/ada" + SHARED + "/logs/"


class Races(sandbox.Case):
    def test_files_that_come_grow_and_go(self):
        box = self.box(console="ada")
        for number in range(2000):
            box.put("%s%d/%d.log" % (LOGS, number % 7, number), "x" * number)
        churn = subprocess.Popen(["sh", "-c", "while :; do seq 2000 >gone.log; echo line >>grow.log; rm gone.log; done"],
                                 cwd=box.path(LOGS))
        self.addCleanup(churn.wait)
        self.addCleanup(churn.kill)
        box.run()
        found = box.zip()
        self.assertEqual(sum(len(c) for n, c in found.items() if n.count("/") == 3), sum(range(2000)))
        self.assertEqual(found["logs/ada/grow.log"].replace(b"line\n", b""), b"")

    def test_runs_at_once_in_the_same_folder(self):
        for _ in range(4):
            box = self.box(console="ada")
            for number in range(300):
                box.put("%s%d/%d.log" % (LOGS, number % 7, number), "x")
            for started in [box.start(), box.start("-k"), box.start("--dir=" + ROOT_DIR)]:
                box.finish(started)
            self.assertEqual(box.read(sandbox.OWN_LOG).count(b" Collection log completed"), 3)

    def test_workers_that_hang_while_the_run_ends(self):
        """Many runs side by side, so that the waiting is paid once; each ends well while its workers hang, or have just gone on."""
        boxes = [self.box(console="ada", tool=sandbox.SHORT_LIMITS, fakes={
            "uname": "exec sleep 1000000", **dict.fromkeys(("ps", "journalctl"), "exec sleep %g" % (5.9 + number / 50))}) for number in range(12)]
        for box in boxes:
            put_sources(box)
        for box, started in [(box, box.start()) for box in boxes]:
            box.finish(started)
            self.assertEqual((len(box.zip()), os.listdir(box.path(ROOT_DIR))), (34, box.archives()))
        sandbox.wait_until_alone()

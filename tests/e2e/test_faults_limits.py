"""Too few processes, descriptors or bytes of memory; too many files, levels and letters."""
import os
import signal
import zipfile

import faults
import sandbox
from faults import LOGS
from sandbox import ROOT_DIR


class Limits(faults.FaultCase):
    def test_shell_cannot_be_started(self):
        """No shell can be started | /bin/sh cannot be executed | every command is reported as failed, the archive has all files"""
        box = self.box()
        sandbox.mount("/dev/null", box.path(os.path.realpath("/bin/sh")), None, sandbox.MS_BIND)
        process = box.start()
        box.finish(process)
        contents = self.assertWhole(box)
        self.assertNotIn("logs/system_wide.log", contents)
        self.assertRegex("\n".join(box.messages("cmdPopen")), r"popen\(cmd\) fail,cmd:chmod.*; Reason: errorno:1\d,msg:")
        self.assertEqual([m[-5:] for m in box.messages("collectSystemWideLog")], ["start", "false"])

    def sweep(self, limits, line, user=lambda limit: None):
        """Starts a run under each limit, all at once; returns (status, archive's content or None) by limit."""
        boxes = {n: self.box() for n in limits}
        started = {n: box.start(shell=line % n + '; exec "$@"', user=user(n)) for n, box in boxes.items()}
        outcome = {}
        for number, box in boxes.items():
            process = started[number][0]
            os.waitid(os.P_PID, process.pid, os.WEXITED | os.WNOWAIT)
            with open("/proc/%d/stat" % process.pid) as file:  # its last field is the wait status
                status = os.waitstatus_to_exitcode(int(file.read().split()[-1]))
            box.finish(started[number], status=status)
            has_archive = os.path.exists(box.path(ROOT_DIR)) and any(n.endswith(".zip") for n in box.archives())
            outcome[number] = status, box.zip() if has_archive else None
        return outcome

    def test_processes_run_out(self):
        """No more processes or threads | a limit of 1 to 14 for an ordinary user | without its three workers the run ends abnormally and leaves no archive; with them it ends with 0 and an archive"""
        self.need_second_user()
        outcome = self.sweep(range(1, 15), "ulimit -p %d", user=lambda limit: 20000 + limit)
        for number, (status, contents) in outcome.items():
            with self.subTest(number):
                self.assertIn(status, (0, -signal.SIGABRT))
                self.assertEqual(contents is None, status != 0)

    def test_descriptors_run_out(self):
        """No more file descriptors | a limit of 3 to 30 | the run ends with 0; an archive that is there is whole, from 16 on it has everything"""
        # A sanitizer needs descriptors for its own checks.
        limits = range(20, 31, 2) if faults.SANITIZED else range(3, 31)
        for number, (status, contents) in self.sweep(limits, "ulimit -n %d").items():
            with self.subTest(number):
                self.assertIn(status, (0,) if number > 8 else (0, 127, 161, 163))
                if number >= 16:
                    self.assertEqual(contents["logs/ada/kept.log"], b"kept")
                    self.assertIn("LogColltionTool.log", contents)

    def test_memory_and_a_giant(self):
        """Little memory, much data | 128 MiB of data, 512 KiB a stack, and a log of 1.5 GiB | the log is in the archive whole"""
        size = (3 << 29) if not faults.SANITIZED else (64 << 20)  # a sanitizer needs terabytes of address space
        box = self.box()
        box.put(LOGS + "giant.log", size=size)
        peak = self.peak(box, shell='exec "$@"' if faults.SANITIZED else 'ulimit -s 512; ulimit -d 131072; exec "$@"')
        with zipfile.ZipFile(box.path(ROOT_DIR + "/" + box.archives()[0])) as archive:
            self.assertEqual(archive.getinfo("logs/ada/giant.log").file_size, size)
            self.assertIsNone(archive.testzip())
        self.assertTrue(faults.SANITIZED or peak < 32 * 1024, peak)

    def test_many_files(self):
        """100,000 files | in one client folder | all are in the archive; at most 32 MiB of memory"""
        count = 100000 if not faults.SANITIZED else 10000
        box = self.box()
        for number in range(count):
            box.put(LOGS + "%d.log" % number)
        peak = self.peak(box)
        self.assertEqual(len([n for n in self.assertWhole(box) if n.startswith("logs/ada/")]), count + 1)
        self.assertTrue(faults.SANITIZED or peak < 32 * 1024, peak)

    def test_deep_trees_and_long_paths(self):
        """Deep trees and long paths | 500 levels, with 256 descriptors to begin with and stacks of 512 KiB; a path of the greatest length; in the output folder a tree deeper than any path | what has a path in the scratch folder is in the archive; the deep tree is removed"""
        box = self.box()
        deep = "d/" * 500 + "deep.log"
        box.put(LOGS + deep, "deep")
        long = ("n" * 240 + "/") * 16
        long += "f" * (4095 - len(box.path(LOGS) + long) - 4) + ".log"
        box.put(LOGS + long, "long")
        below = os.open(box.path("/tmp"), os.O_RDONLY)
        for name in ["oBrelaLog"] + ["x" * 250] * 40:
            os.mkdir(name, dir_fd=below)
            below, above = os.open(name, os.O_RDONLY, dir_fd=below), below
            os.close(above)
        os.close(below)
        small_stack = "" if faults.SANITIZED else "ulimit -s 512; "  # a sanitizer's frames are much larger
        box.run(shell=small_stack + 'ulimit -S -n 256; exec "$@"')
        self.assertWhole(box, logs=((deep, b"deep"), (long, b"long"), ("kept.log", b"kept")))


if __name__ == "__main__":
    sandbox.main()

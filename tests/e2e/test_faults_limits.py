"""Too few processes, descriptors or bytes of memory; too many files, levels and letters; volumes that fill up, commands that
never stop printing."""
import os
import re
import signal
import zipfile

import faults
import sandbox
from faults import GATE, LOGS
from sandbox import MIB, ROOT_DIR, SCRATCH

OUT = "/drive/out"


def descend(below, names):
    """Makes a folder below an open one, deeper than any path may lead; returns it open."""
    for name in names:
        os.mkdir(name, dir_fd=below)
        below, above = os.open(name, os.O_RDONLY, dir_fd=below), below
        os.close(above)
    return below


class Limits(faults.FaultCase):
    def test_shell_cannot_be_started(self):
        """No shell can be started | /bin/sh cannot be executed | every command is reported as failed, the archive has all files"""
        box = self.box()
        sandbox.mount("/dev/null", box.path(os.path.realpath("/bin/sh")), None, sandbox.MS_BIND)
        box.run()
        self.assertNotIn("logs/system_wide.log", self.assertWhole(box))
        self.assertRegex("\n".join(box.messages("cmdPopen")), r"popen\(cmd\) fail,cmd:chmod.*; Reason: errorno:1\d,msg:")
        self.assertEqual([m[-5:] for m in box.messages("collectSystemWideLog")], ["start", "false"])

    def test_what_runs_out(self):
        """No more processes and threads; no more file descriptors | a limit of 1 to 14 for an ordinary user; of 3 to 30 | without its three workers the run ends abnormally and leaves no archive; it ends with 0 else, an archive that is there is whole, and from 16 descriptors on it has everything"""
        self.need_second_user()
        # A sanitizer needs descriptors for its own checks.
        limits = [("p", n, 20000 + n) for n in range(1, 15)] + [("n", n, None) for n in range(20 if faults.SANITIZED else 3, 31)]
        runs = [(self.box(), *limit) for limit in limits]
        runs = [(box, box.start(shell='ulimit -%s %d; exec "$@"' % (kind, n), user=user), kind, n) for box, kind, n, user in runs]
        for box, started, kind, number in runs:
            with self.subTest(kind, number=number):
                box.finish(started, status=None)
                status, has_root = started[0].returncode, os.path.exists(box.path(ROOT_DIR))
                contents = box.zip() if has_root and any(n.endswith(".zip") for n in box.archives()) else None
                if kind == "p":
                    self.assertIn(status, (0, -signal.SIGABRT))
                    self.assertEqual(contents is None, status != 0)
                else:
                    self.assertIn(status, (0,) if number > 8 else (0, 127, 161, 163))
                if kind == "n" and number >= 16:
                    self.assertEqual((contents["logs/ada/kept.log"], "LogColltionTool.log" in contents), (b"kept", True))

    def test_much_data_and_little_memory(self):
        """Little memory, much data, many files | 128 MiB of data, 512 KiB a stack; a log of 256 MiB, 20,000 others | all are in the archive whole; at most 32 MiB of memory"""
        # A sanitizer needs terabytes of address space.
        size, count = (64 * MIB, 2000) if faults.SANITIZED else (256 * MIB, 20000)
        box = self.box(fakes={"open": GATE})
        box.put(LOGS + "giant.log", size=size)
        for number in range(count):
            os.link(box.path(LOGS + "kept.log"), box.path(LOGS + "%d.log" % number))
        started = box.start(shell='exec "$@"' if faults.SANITIZED else 'ulimit -s 512; ulimit -d 131072; exec "$@"')
        with self.held(box), open("/proc/%d/status" % started[0].pid) as file:
            peak = int(re.search(r"VmHWM:\s*(\d+) kB", file.read())[1])
        box.finish(started)
        with zipfile.ZipFile(box.path(ROOT_DIR + "/" + box.archives()[0])) as archive:
            sizes = [info.file_size for info in archive.infolist() if info.filename.startswith("logs/ada/")]
            self.assertIsNone(archive.testzip())
        self.assertEqual(sorted(sizes), [4] * (count + 1) + [size])
        self.assertTrue(faults.SANITIZED or peak < 32 * 1024, peak)

    def test_deep_trees_and_long_paths(self):
        """Deep trees and long paths | 500 levels, with 256 descriptors to begin with and stacks of 512 KiB; a log whose path is too long but whose copy's is not, and a folder for which both are; in the output folder a tree deeper than any path | what has a path in the scratch folder is in the archive, else it is named; the deep tree is removed"""
        box, deep, ada = self.box(), "d/" * 500 + "deep.log", SCRATCH + "/logs/ada/"
        box.put(LOGS + deep, "deep")
        path = "/".join(["m" * 200] * 20) + "/"
        log, folder = "f" * (4090 - len(ada + path)), "f" * 100
        self.assertGreater(len(LOGS + path + log), 4096)
        below = descend(os.open(box.path(LOGS), os.O_RDONLY), path.split("/")[:-1])
        os.close(os.open(log, os.O_CREAT | os.O_WRONLY, dir_fd=below))
        os.close(descend(below, [folder]))
        os.close(descend(os.open(box.path("/tmp"), os.O_RDONLY), ["oBrelaLog"] + ["x" * 250] * 40))
        small_stack = "" if faults.SANITIZED else "ulimit -s 512; "  # a sanitizer's frames are much larger
        box.run(shell=small_stack + 'ulimit -S -n 256; exec "$@"')
        self.assertWhole(box, logs=((deep, b"deep"), (path + log, b""), ("kept.log", b"kept")))
        self.assertIn("copy %s to %s failed.; Reason: code:36 msg:File name too long" % (LOGS + path + folder, (ada + path)[:-1]),
                      box.messages("copyDir"))

    def test_volume_that_fills_up(self):
        """A volume that fills up while files are copied | to the last byte; but for 64 MiB | exit status 0; no archive, remains that bear the name ".zip.incomplete", and the own log, on another volume, tells why; the archive is made, with both logs, and the first file that is not copied is named """
        for left in (0, 64 * MIB):
            with self.subTest(left=left):
                box = self.box(drive=600, fakes={"chmod": '[ "$2" = 777 ] && ' + GATE + 'exec /bin/chmod "$@"'})
                started = box.start("--dir=" + OUT)
                with self.held(box):
                    self.fill(box, left)
                box.finish(started)
                self.assertIn(("copyDir", "warning", "copy %skept.log to %s/logFiles/logs/ada failed.; Reason: code:28 "
                               "msg:No space left on device" % (LOGS, OUT)), [(x.function, x.level, x.message) for x in box.log()])
                if left:
                    self.assertWhole(box, OUT, logs=())
                else:
                    [name] = os.listdir(box.path(OUT))
                    self.assertRegex(name, r"\.zip\.incomplete$")
                    self.assertRegex("\n".join(box.messages("compressLogs")), r"Generate zip file\(.*\) throw exception; Reason: ")

    def test_commands_that_print_for_ever(self):
        """Commands that print for ever | they flood the three reports and the tool itself, on a volume of 600 MiB | each report ends at an eighth of the free room (1 GiB at most) and a record tells; the archive is made with everything else"""
        flood = {name: "exec yes oBrela QMUem" for name in ("ps", "journalctl")}
        box = self.box(drive=600, fakes={**flood, "chmod": '[ "$2" = 777 ] && yes | head -c 200000000; exec /bin/chmod "$@"'})
        result = box.run("--dir=" + OUT)
        contents = self.assertWhole(box, OUT)
        for name, function, command in (("system_info.log", "collectSystemInfo", "ps aux | grep oBrela"),
                                        ("logs/system_wide.log", "collectSystemWideLog", "journalctl"),
                                        ("logs/uem_ada/system_state.log", "collectSystemStateForUem", "ps aux | grep QMUem")):
            self.assertEqual(len(contents[name]), 600 // 8 << 20, name)
            records = [x.message for x in box.log() if x.function == function and " at its limit of " in x.message]
            self.assertEqual(len(records), 1)
            self.assertRegex(records[0], r"report \S+/%s ends .*: %s.*%s" % (name.split("/")[-1], re.escape(command), name))
        self.assertTrue(faults.SANITIZED or result.peak_kib < 64 * 1024, result.peak_kib)


if __name__ == "__main__":
    sandbox.main()

"""Volumes that fill up, files that cannot be read, commands that never stop printing."""
import contextlib
import glob
import os
import re

import faults
import sandbox
from faults import FILL, LOGS, until
from sandbox import ROOT_DIR, SCRATCH

OUT = "/drive/out"


class Volume(faults.FaultCase):
    def fill_while_copying(self, left):
        box = self.box(drive=600, fakes={"chmod": FILL + '[ "$2" = 777 ] && fill /drive %d\nexec /bin/chmod "$@"' % left})
        box.run("--dir=" + OUT)
        self.assertIn(("copyDir", "warning", "copy %skept.log to %s/logFiles/logs/ada failed.; Reason: code:28 "
                       "msg:No space left on device" % (LOGS, OUT)), [(x.function, x.level, x.message) for x in box.log()])
        return box

    def test_full_while_copying(self):
        """Volume full while files are copied | a command fills it to the last byte | exit status 0, no archive; the own log, on another volume, tells why; remains bear the name ".zip.incomplete" """
        self.assertTorn(self.fill_while_copying(0), OUT)

    def test_almost_full_while_copying(self):
        """Volume almost full while files are copied | a command fills it but for 64 MiB | no file is copied into the last 100 MiB, the first is named in the log and the others counted; the archive is made, with both logs"""
        box = self.fill_while_copying(64 << 20)
        self.assertLessEqual({"LogColltionTool.log", "system_info.log"}, set(box.zip(OUT)))

    def test_full_while_packing(self):
        """Volume full while the archive is written | filled as soon as the archive appears | as above: set aside as ".zip.incomplete", the log tells, the copies are removed"""
        box = self.box(drive=600)
        box.put(LOGS + "noise.log", os.urandom(80 << 20))
        started = box.start("--dir=" + OUT)
        until(lambda: os.path.exists(box.path(OUT)) and box.archives(OUT))
        with open(box.path("/drive/filler"), "wb", 0) as file, contextlib.suppress(OSError):
            while True:
                file.write(bytes(1 << 20))
        box.finish(started)
        self.assertTorn(box, OUT)

    def test_commands_that_print_for_ever(self):
        """Commands that print for ever | they flood the three reports and the tool itself, on a volume of 600 MiB with a log of 160 MiB | each report ends at an eighth of the free room (1 GiB at most) and a record tells; the archive is made with everything else"""
        flood = {name: "exec yes oBrela QMUem" for name in ("ps", "journalctl")}
        box = self.box(drive=600, fakes={**flood, "chmod": '[ "$2" = 777 ] && exec yes; exec /bin/chmod "$@"'})
        box.put(sandbox.UEM_LOGS + "capture.pcap", size=160 << 20)
        result = box.run("--dir=" + OUT)
        contents = self.assertWhole(box, OUT)
        self.assertEqual(len(contents["logs/uem_ada/capture.pcap"]), 160 << 20)
        for name, function, command in (("system_info.log", "collectSystemInfo", "ps aux | grep oBrela"),
                                        ("logs/system_wide.log", "collectSystemWideLog", "journalctl"),
                                        ("logs/uem_ada/system_state.log", "collectSystemStateForUem", "ps aux | grep QMUem")):
            self.assertEqual(len(contents[name]), 600 // 8 << 20, name)
            records = [x.message for x in box.log() if x.function == function and " at its limit of " in x.message]
            self.assertEqual(len(records), 1)
            self.assertRegex(records[0], r"report \S+/%s ends .*: %s.*%s" % (name.split("/")[-1], re.escape(command), name))
        self.assertTrue(faults.SANITIZED or result.peak_kib < 64 * 1024, result.peak_kib)

    def test_copies_that_change_before_they_are_packed(self):
        """Copies that vanish, shrink or cannot be read any more | done to the scratch folder right before packing | their entries are missing, short or empty, all others are whole"""
        box = self.box(fakes={"ps": "[ -p /gate ] && cat /gate"})
        os.mkfifo(box.path("/gate"))
        for name in ("vanish.log", "shrink.log", "bad.log"):
            box.put(LOGS + name, "text" * 10000)
        box.put("/var/log/com.apple.xpc.launchd/launchd.log", "last")
        started = box.start()
        until(lambda: os.path.exists(box.path(SCRATCH + "/system/com.apple.xpc.launchd/launchd.log")))
        os.unlink(box.path(SCRATCH + "/logs/ada/vanish.log"))
        os.truncate(box.path(SCRATCH + "/logs/ada/shrink.log"), 5)
        bad = SCRATCH + "/logs/ada/bad.log"
        sandbox.mount(glob.glob("/sys/class/net/lo*/speed")[0], box.path(bad), None, sandbox.MS_BIND)
        gate = os.open(box.path("/gate"), os.O_RDWR)
        os.unlink(box.path("/gate"))
        os.close(gate)
        box.finish(started)
        sandbox.libc.umount2(box.path(bad).encode(), sandbox.MNT_DETACH)
        contents = box.zip()
        self.assertNotIn("logs/ada/vanish.log", contents)
        self.assertEqual([contents["logs/ada/" + n] for n in ("shrink.log", "bad.log", "kept.log")], [b"textt", b"", b"kept"])
        box.run(env={"TZ": "later-1"})
        self.assertFalse(os.path.exists(box.path(SCRATCH)))


if __name__ == "__main__":
    sandbox.main()

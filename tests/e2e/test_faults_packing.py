"""What goes wrong while the archive is written: what bears an archive's name is whole, and losses are told."""
import errno
import os
import re
import zipfile

import faults
import sandbox
from faults import LOGS, until
from sandbox import LAUNCHD, MIB, ROOT_DIR, SCRATCH


class Packing(faults.FaultCase):
    def failed(self, calls, path, error, **how):
        """A run in which these calls fail: what is in the output folder, and what compressLogs has logged."""
        box = self.box()
        box.put(LOGS + "noise.log", os.urandom(3 * MIB))
        for number in range(3):
            box.put(LOGS + "more/%d.log" % number, "more")
        result = box.run(env=self.failing(box, calls, path, error, **how))
        self.assertNotIn("Sanitizer", result.err)
        names = box.archives()
        whole = [zipfile.ZipFile(box.path(ROOT_DIR + "/" + n)).testzip() for n in names if n.endswith(".zip")]
        self.assertFalse(any(whole))
        return box, [n.partition(".zip")[2] for n in names], box.messages("compressLogs")

    def test_writing_the_archive_fails(self):
        """A call on the archive's file fails | opening, writing (at once or late), asking for its state, flushing, shortening and renaming it | no file has an archive's name, what there is of it ends in ".incomplete", the log tells """
        for calls, error, first, left, text in (
                ("open openat", errno.EACCES, 1, [], "creating zip in"), ("pwrite", errno.ENOSPC, 1, [".incomplete"], "closing zip|adding '.*' to zip"),
                ("pwrite", errno.EIO, 20, [".incomplete"], "closing zip|adding '.*' to zip"),
                ("fstat", errno.EIO, 1, [".incomplete"], "closing"), ("fsync", errno.EIO, 1, [".incomplete"], "closing"),
                ("ftruncate", errno.EIO, 1, [".incomplete"], "closing"), ("rename", errno.EROFS, 1, [".incomplete"], "closing")):
            with self.subTest(calls, first=first):
                _, names, messages = self.failed(calls, "*/oBrelaLog_*", error, first=first)
                self.assertEqual(names, left)
                self.assertRegex("\n".join(messages), "Generate zip file.*Error (%s)" % text)

    def test_writing_comes_up_short(self):
        """Writes that take less than they were given | each one on the archive's file | whole archive"""
        self.assertEqual(self.failed("pwrite", "*/oBrelaLog_*", 0)[1:], ([""], []))

    def test_reading_the_copies_fails(self):
        """Copies that cannot be packed | looking up, opening, listing and reading them fails | the archive has what could be read; the first loss of each folder and error is in the log, with the number of the others"""
        failed = "pack %s failed.; Reason: code:5 msg:Input/output error"
        ada = SCRATCH + "/logs/ada"
        rows = (("pread", "*/logFiles/logs/ada/noise.log", 2, [ada + "/noise.log"], 0),
                ("openat", "*/logFiles/logs/ada", 1, [ada], 0),
                ("pread", "*/logFiles/logs/ada/more/?.log", 1, None, 2))
        for calls, path, first, lost, others in rows:
            with self.subTest(calls, path=path):
                box, names, messages = self.failed(calls, path, errno.EIO, first=first)
                self.assertEqual(names, [""])
                if lost:
                    self.assertEqual(messages, [failed % path for path in lost])
                else:
                    self.assertRegex(messages[0], failed % (ada + r"/more/\d\.log"))
                    self.assertEqual(messages[1:], ["%d more of %s/logs lost; Reason: code:5 "
                                                    "msg:Input/output error" % (others, SCRATCH)])
                self.assertIn("system_info.log", box.zip())
        # A listing that breaks off loses no name that was read before.
        box, _, messages = self.failed("readdir", "*/logFiles/logs/ada/more", errno.EIO, first=5)
        self.assertEqual(messages, [failed % (ada + "/more")])
        self.assertTrue(any(name.startswith("logs/ada/more/") for name in box.zip()))
        messages = self.failed("openat", "*/logFiles/logs/ada/noise.log", errno.EACCES, first=2)[2]
        self.assertEqual(messages, ["pack %s/noise.log failed.; Reason: code:13 msg:Permission denied" % ada])

    def test_room_for_one_copy_is_enough(self):
        """Little room when packing begins | filled up but for half the size of the archive | whole archive: each copy goes as soon as it is packed"""
        box = self.box(drive=600, fakes={"ps": "[ -p /gate ] && cat /gate"})
        os.mkfifo(box.path("/gate"))
        logs = {"%d.log" % number: os.urandom(30 * MIB) for number in range(3)}
        for name, content in logs.items():
            box.put(LOGS + name, content)
        box.put(LAUNCHD, "last")
        started = box.start("--dir=/drive/out")
        until(lambda: os.path.exists(box.path("/drive/out/logFiles/system/com.apple.xpc.launchd/launchd.log")))
        room = os.statvfs(box.path("/drive"))
        with open(box.path("/drive/filler"), "wb") as file:
            os.posix_fallocate(file.fileno(), 0, room.f_bavail * room.f_bsize - 45 * MIB)
        gate = os.open(box.path("/gate"), os.O_RDWR)
        os.unlink(box.path("/gate"))
        os.close(gate)
        box.finish(started)
        self.assertWhole(box, "/drive/out", logs=logs.items())

    def test_another_run_is_at_work_on_the_archive(self):
        """An unfinished archive of another run has the name | made for each of the next seconds, during the run | it stays as it is, the archive has a later second's name"""
        plant = ('[ -e /planted ] || now=$(date +%%s); for i in $(seq 0 90); do f=%s/oBrelaLog_2.5.16.20_$(date -u -d @$((now + i)) +'
                 '%%Y%%m%%d%%H%%M%%S).zip.incomplete; [ -e $f ] || echo other >$f; done; touch /planted' % ROOT_DIR)
        box = self.box(fakes={"uname": plant})
        box.run()
        names = box.archives()
        self.assertRegex(names[-1], r"\.zip$")
        self.assertTrue(all(re.search(r"\.incomplete$", name) and box.read(ROOT_DIR + "/" + name) == b"other\n" for name in names[:-1]))
        self.assertGreater(len(names), 90)
        self.assertIn("logs/ada/kept.log", box.zip())


if __name__ == "__main__":
    sandbox.main()

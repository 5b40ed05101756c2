"""What is lost is told, once for each source and error, what could be had is in the archive, and what bears an archive's
name is whole."""
import os
import re

import faults
import sandbox
from faults import GATE, LOGS
from sandbox import APP, LAUNCHD, MIB, SCRATCH, until

INSTALLER = "/var/log/quelmar/sdp/oBrelaInstallOut.log"
ADA = SCRATCH + "/logs/ada"
EIO, ENOMEM, EACCES, ENOENT, EDQUOT, ENOSPC = 5, 12, 13, 2, 122, 28
COPY = "copy %s to %s failed.; Reason: code:%d msg:%s"
FOLDER = "read directory %s failed.; Reason: code:%d msg:%s"


class Losses(faults.FaultCase):
    def full_box(self, **options):
        box = self.box(**options)
        for path in (LOGS + "a.log", LOGS + "sub/b.log", APP + "/sdpc_md5.json", APP + "/static/.portal.json", INSTALLER, LAUNCHD):
            box.put(path, "text" * 50000)
        for number in range(30):
            box.put(LOGS + "many/%d/%d.log" % (number % 10, number))
        return box

    def told(self, box):
        """The records of losses, but for the installer's log where there is none."""
        return [re.sub(r"many/[\d./log]+", "many/N", m) for m in box.messages()
                if re.match(r"(copy|copy_file|read directory) .* failed\.; |\d+ more of ", m)
                and "oBrelaInstallOut.log failed.; Reason: code:2 " not in m]

    def test_single_faults(self):
        """Sources that cannot be opened, looked at, listed or read, copies that cannot be made, written or closed, free room that cannot be asked for | a chosen call fails, with any error | a record names the path, the number and the text, another one how many more there were; everything else is in the archive, and what was read of it"""
        a, many = LOGS + "a.log", LOGS + "many/*/*.log"
        io, quota, memory = "Input/output error", "Disk quota exceeded", "Cannot allocate memory"
        for calls, path, error, first, *expected in (
                ("openat", LOGS + "sub", EACCES, 1, FOLDER % (LOGS + "sub", EACCES, "Permission denied")),
                ("openat", LOGS[:-1], EIO, 1, FOLDER % (LOGS[:-1], EIO, io)),
                ("readdir", LOGS[:-1], EIO, 5, FOLDER % (LOGS[:-1], EIO, io)),
                ("fdopendir", LOGS + "sub", ENOMEM, 1, FOLDER % (LOGS + "sub", ENOMEM, memory)),
                ("openat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("fstatat fstat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("read", a, EIO, 2, COPY % (a, ADA, EIO, io)),
                ("openat", ADA + "/a.log", ENOENT, 1, COPY % (a, ADA, ENOENT, "No such file or directory")),
                ("write", ADA + "/a.log", EDQUOT, 2, COPY % (a, ADA, EDQUOT, quota)),
                ("close", ADA + "/a.log", EIO, 1, COPY % (a, ADA, EIO, io)),
                ("openat", many, EIO, 1, COPY % (LOGS + "many/N", ADA + "/many/N", EIO, io),
                 "29 more of %s lost; Reason: code:5 msg:%s" % (LOGS[:-1], io)),
                ("read", LAUNCHD, EIO, 1, COPY % (LAUNCHD, SCRATCH + "/system/com.apple.xpc.launchd", EIO, io)),
                ("read", INSTALLER, EIO, 1, "copy_file %s to %s/logs/oBrelaInstallOut.log failed.; Reason: code:5 msg:%s"
                 % (INSTALLER, SCRATCH, io)),
                # No news: files that may not be opened, or have gone; a volume that does not tell its room.
                ("openat", a, EACCES, 1), ("openat", a, ENOENT, 1), ("statvfs", SCRATCH + "*", EIO, 1)):
            with self.subTest(calls=calls, path=path, error=error):
                box = self.full_box()
                result = box.run(env=self.failing(box, calls, path, error, first))
                contents = self.assertWhole(box, logs=())
                self.assertEqual(self.told(box), expected, result.err)
                whole = len([c for c in contents.values() if c == b"text" * 50000])
                self.assertGreaterEqual(whole, 4 if path == LOGS[:-1] else 6 if path in (many, SCRATCH + "*") else 5)
                if calls == "readdir":  # "." and ".." come first
                    self.assertEqual(len({n.split("/")[2] for n in contents if n.startswith("logs/ada/")}), 2)
                if first == 2:
                    self.assertEqual(len(contents["logs/ada/a.log"]), 65536)

    def test_packing(self):
        """A call fails while the archive is written: on its file, or on the copies | opening, writing (at once, late, or less than was given), asking for its state, flushing, shortening, renaming; opening, listing, reading | the archive is whole or no file has an archive's name and what there is of it ends in ".incomplete"; the first loss of each folder and error is in the log, with the number of the others """
        archive, noise, more = "*/oBrelaLog_*", ADA + "/noise.log", ADA + "/more"
        closing = r"Generate zip file.*Error (closing zip|adding '.*' to zip).*"
        lost = r"pack %s failed.; Reason: code:5 msg:Input/output error"
        for calls, path, error, first, left, told in (
                ("open", archive, EACCES, 1, [], "Generate zip file.*Error creating zip in.*"),
                ("pwrite", archive, ENOSPC, 1, [".incomplete"], closing), ("pwrite", archive, EIO, 20, [".incomplete"], closing),
                ("fstat", archive, EIO, 1, [".incomplete"], closing), ("fsync", archive, EIO, 1, [".incomplete"], closing),
                ("ftruncate", archive, EIO, 1, [".incomplete"], closing), ("rename", archive, EIO, 1, [".incomplete"], closing),
                ("pwrite", archive, 0, 1, [""], ""), ("pread", noise, EIO, 2, [""], lost % noise),
                ("openat", ADA, EIO, 1, [""], lost % ADA), ("readdir", more, EIO, 5, [""], lost % more),
                ("pread", more + "/?.log", EIO, 1, [""], lost % (more + r"/\d\.log") +
                 "\n2 more of %s/logs lost; Reason: code:5 msg:Input/output error" % SCRATCH)):
            with self.subTest(calls, path=path, first=first):
                box = self.box()
                box.put(LOGS + "noise.log", os.urandom(3 * MIB))
                for number in range(3):
                    box.put(LOGS + "more/%d.log" % number, "more")
                box.run(env=self.failing(box, calls, path, error, first))
                self.assertEqual([n.partition(".zip")[2] for n in box.archives()], left)
                self.assertRegex("\n".join(box.messages("compressLogs")), r"\A(%s)\Z" % told)
                contents = box.zip() if left == [""] else {"system_info.log": b""}
                self.assertIn("system_info.log", contents)
                if calls == "readdir":  # a listing that breaks off loses no name that was read before
                    self.assertTrue(any(name.startswith("logs/ada/more/") for name in contents))

    def test_room(self):
        """A file larger than the room that packing needs, or that would take the volume's last 100 MiB | 600 MiB, one log of 1 TiB, one of 260 MiB among small ones | both are left out and named, all others are in the archive"""
        box = self.full_box(drive=600)
        for name, size in (("giant.log", 1 << 40), ("capture.pcap", 260 * MIB), ("last/fits.log", 20 * MIB)):
            box.put(LOGS + name, size=size)
        box.run("--dir=/drive/out")
        contents = self.assertWhole(box, "/drive/out")
        self.assertEqual({n for n in contents if n.startswith("logs/ada/") and "/many/" not in n},
                         {"logs/ada/" + n for n in ("a.log", "kept.log", "sub/b.log", "last/fits.log")})
        first, count = self.told(box)
        self.assertRegex(first, r"copy /.*/(giant\.log|capture\.pcap) to /.* failed.; Reason: code:28 msg:No space left")
        self.assertEqual(count, "1 more of %s lost; Reason: code:28 msg:No space left on device" % LOGS[:-1])

    def test_between_copying_and_packing(self):
        """Little room when packing begins; copies that vanish or shrink, an unfinished archive of another run that has the name | filled up but for half the size of the archive; done right before packing, names for the next minute | each copy goes as soon as it is packed, what is left of them is in the archive; the other run's stays as it is, the archive has a later second's name"""
        box = self.box(drive=600, fakes={"ps": GATE})
        logs = {"%d.log" % number: os.urandom(8 * MIB) for number in range(3)}
        for name, content in [*logs.items(), ("shrink.log", "text" * 10000), ("vanish.log", "text")]:
            box.put(LOGS + name, content)
        box.put(LAUNCHD, "last")
        started, out = box.start("--dir=/drive/out"), "/drive/out"
        with self.held(box):
            until(lambda: os.path.exists(box.path(out + "/logFiles/system/com.apple.xpc.launchd/launchd.log")))
            os.unlink(box.path(out + "/logFiles/logs/ada/vanish.log"))
            os.truncate(box.path(out + "/logFiles/logs/ada/shrink.log"), 5)
            others = [out + name for name in faults.archive_names(".incomplete")]
            for name in others:
                box.put(name, "other")
            self.fill(box, 12 * MIB)
        box.finish(started)
        for name in others:
            self.assertEqual(box.read(name), b"other")
            os.unlink(box.path(name))
        contents = self.assertWhole(box, out, [*logs.items(), ("shrink.log", b"textt"), ("kept.log", b"kept")])
        self.assertNotIn("logs/ada/vanish.log", contents)


if __name__ == "__main__":
    sandbox.main()

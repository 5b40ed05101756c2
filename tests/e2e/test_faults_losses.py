"""What is lost is told, once for each source and error, and what could be had is in the archive."""
import os
import re

import faults
import sandbox
from faults import LOGS
from sandbox import APP, LAUNCHD, SCRATCH, SHARED

INSTALLER = "/var/log/quelmar/sdp/oBrelaInstallOut.log"
ADA = SCRATCH + "/logs/ada"
EIO, ENOMEM, EACCES, ENOENT, EFBIG, EDQUOT, ENAMETOOLONG = 5, 12, 13, 2, 27, 122, 36
COPY = "copy %s to %s failed.; Reason: code:%d msg:%s"
FOLDER = "read directory %s failed.; Reason: code:%d msg:%s"


class Losses(faults.FaultCase):
    def full_box(self, **options):
        box = self.box(**options)
        for path in (LOGS + "a.log", LOGS + "sub/b.log", APP + "/sdpc_md5.json", APP + "/static/.portal.json", INSTALLER, LAUNCHD):
            box.put(path, "text" * 50000)
        return box

    def told(self, box):
        """The records of losses, but for the installer's log where there is none."""
        return [m for m in box.messages() if re.match(r"(copy|copy_file|read directory) .* failed\.; |\d+ more of ", m)
                and "oBrelaInstallOut.log failed.; Reason: code:2 " not in m]

    def test_single_faults(self):
        """Sources that cannot be opened, looked at, listed or read, copies that cannot be made, written or closed | a chosen call fails, with any error | a record names the path, the number and the text; everything else is in the archive, and what was read of it"""
        a, b = LOGS + "a.log", LOGS + "sub/b.log"
        io, quota, big, memory = "Input/output error", "Disk quota exceeded", "File too large", "Cannot allocate memory"
        for calls, path, error, first, expected in (
                ("openat", LOGS + "sub", EACCES, 1, FOLDER % (LOGS + "sub", EACCES, "Permission denied")),
                ("openat", LOGS[:-1], EIO, 1, FOLDER % (LOGS[:-1], EIO, io)),
                ("readdir", LOGS[:-1], EIO, 5, FOLDER % (LOGS[:-1], EIO, io)),
                ("fdopendir", LOGS + "sub", ENOMEM, 1, FOLDER % (LOGS + "sub", ENOMEM, memory)),
                ("openat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("fstatat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("fstat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("read", a, EIO, 2, COPY % (a, ADA, EIO, io)),
                ("openat", ADA + "/a.log", ENOENT, 1, COPY % (a, ADA, ENOENT, "No such file or directory")),
                ("write", ADA + "/a.log", EDQUOT, 2, COPY % (a, ADA, EDQUOT, quota)),
                ("write", ADA + "/sub/b.log", EFBIG, 1, COPY % (b, ADA + "/sub", EFBIG, big)),
                ("close", ADA + "/a.log", EIO, 1, COPY % (a, ADA, EIO, io)),
                ("read", APP + "/sdpc_md5.json", EIO, 1, COPY % (APP + "/sdpc_md5.json", SCRATCH + "/portal-info", EIO, io)),
                ("read", LAUNCHD, EIO, 1, COPY % (LAUNCHD, SCRATCH + "/system/com.apple.xpc.launchd", EIO, io)),
                ("read", INSTALLER, EIO, 1, "copy_file %s to %s/logs/oBrelaInstallOut.log failed.; Reason: code:5 msg:%s"
                 % (INSTALLER, SCRATCH, io)),
                # No news: files that may not be opened, or have gone.
                ("openat", a, EACCES, 1, None), ("openat", a, ENOENT, 1, None), ("read", APP + "/none", EIO, 1, None)):
            with self.subTest(calls=calls, path=path, error=error):
                box = self.full_box()
                result = box.run(env=self.failing(box, calls, path, error, first))
                contents = self.assertWhole(box, logs=())
                self.assertEqual(self.told(box), [expected] if expected else [], result.err)
                whole = len([c for c in contents.values() if c == b"text" * 50000])
                self.assertGreaterEqual(whole, 4 if path == LOGS[:-1] else 5)
                if calls == "readdir":  # "." and ".." come first
                    self.assertEqual(len([n for n in contents if n.startswith("logs/ada/")]), 2)
                if first == 2:
                    self.assertEqual(len(contents["logs/ada/a.log"]), 65536)

    def test_no_flood(self):
        """2,000 files and 200 folders that fail the same way | every opening fails | one record for the first, and one with the count of the others"""
        box = self.box()
        for number in range(2000):
            box.put(LOGS + "%d/%d.log" % (number % 200, number))
        box.run(env=self.failing(box, "openat", LOGS + "*/*.log", EIO))
        first, count = self.told(box)
        self.assertRegex(first, r"copy /.*/\d+\.log to /.* failed.; Reason: code:5 msg:Input/output error")
        self.assertEqual(count, "1999 more of %s lost; Reason: code:5 msg:Input/output error" % LOGS[:-1])

    def test_room(self):
        """A file larger than the room that packing needs | 600 MiB, one log of 1 TiB, one of 350 MiB among small ones | both are left out and named, all others are in the archive"""
        box = self.full_box(drive=600)
        for name, size in (("giant.log", 1 << 40), ("capture.pcap", 350 << 20), ("last/fits.log", 100 << 20)):
            box.put(LOGS + name, size=size)
        box.run("--dir=/drive/out")
        contents = self.assertWhole(box, "/drive/out")
        self.assertEqual({n for n in contents if n.startswith("logs/ada/")},
                         {"logs/ada/" + n for n in ("a.log", "kept.log", "sub/b.log", "last/fits.log")})
        first, count = self.told(box)
        self.assertRegex(first, r"copy /.*/(giant\.log|capture\.pcap) to /.* failed.; Reason: code:28 msg:No space left")
        self.assertEqual(count, "1 more of %s lost; Reason: code:28 msg:No space left on device" % LOGS[:-1])

    def test_paths_that_are_too_long(self):
        """Paths longer than the system takes | a log whose path is too long but whose copy's is not, and below it a folder for which both are | the log is in the archive, the folder is named"""
        box, names = self.box(), ["n" * 200] * 20
        here = os.open(box.path(LOGS), os.O_RDONLY)
        for name in names:
            os.mkdir(name, dir_fd=here)
            here, above = os.open(name, os.O_RDONLY, dir_fd=here), here
            os.close(above)
        path = "/".join(names) + "/"
        log, folder = "f" * (4090 - len(ADA + "/" + path)), "f" * 100
        os.close(os.open(log, os.O_CREAT | os.O_WRONLY, dir_fd=here))
        os.mkdir(folder, dir_fd=here)
        os.close(here)
        self.assertGreater(len(LOGS + path + log), 4096)
        box.run()
        self.assertIn("logs/ada/" + path + log, box.zip())
        self.assertEqual(self.told(box), [COPY % (LOGS + path + folder, ADA + "/" + path[:-1], ENAMETOOLONG, "File name too long")])

    def test_login_service_that_hangs(self):
        """A login service that does not answer | the file it is asked for blocks whoever opens it | five seconds later nobody counts as logged in; the report has both listings that need no name, and root's files are in the archive"""
        box = self.box()
        os.unlink(box.path("/run/systemd/seats/seat0"))
        os.mkfifo(box.path("/run/systemd/seats/seat0"))
        root = "/Users/root" + SHARED
        box.put(root + "/logs/root.log", "root")
        box.run()
        contents = self.assertWhole(box, logs=())
        self.assertEqual(contents["logs/root/root.log"], b"root")
        self.assertEqual(box.calls("ls")[:2], [["-l", "-R", SHARED], ["-l", "-R", root]])
        self.assertEqual(box.messages().count("getCurrentLoginUser failed."), 1)


if __name__ == "__main__":
    sandbox.main()

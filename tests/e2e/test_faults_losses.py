"""What is lost is told, once for each source and error, what could be had is in the archive, and what bears an archive's
name is whole: when calls fail, and when room, processes, descriptors or memory run out."""
import os
import re
import signal

from faults import FaultCase, GATE, LOGS, SANITIZED, archive_names
from sandbox import APP, LAUNCHD, MIB, MS_BIND, ROOT_DIR, SCRATCH, UEM_LOGS, mount, until

INSTALLER = "/var/log/quelmar/sdp/oBrelaInstallOut.log"
OUT = "/drive/out"
ADA = SCRATCH + "/logs/ada"
EIO, EACCES, ENOENT, EDQUOT, ENOSPC = 5, 13, 2, 122, 28
COPY = "copy %s to %s failed.; Reason: code:%d msg:%s"
NOT_MADE = "Unable to create destination directory %s .; Reason: code:5 msg:Input/output error"
FOLDER = "read directory %s failed.; Reason: code:%d msg:%s"


class Losses(FaultCase):
    def full_box(self):
        box = self.box()
        for path in (LOGS + "a.log", LOGS + "sub/b.log", APP + "/sdpc_md5.json", APP + "/static/.portal.json", INSTALLER, LAUNCHD):
            box.put(path, "text" * 50000)
        for number in range(30):
            box.put(LOGS + "many/%d/%d.log" % (number % 10, number))
        return box

    def told(self, box):
        """The records of losses, but for the installer's log where there is none."""
        return [re.sub(r"many/[\d./log]+", "many/N", m) for m in box.messages()
                if re.match(r"(copy|copy_file|read directory) .* failed\.; |\d+ more of |Unable to ", m)
                and "oBrelaInstallOut.log failed.; Reason: code:2 " not in m]

    def test_single_faults(self):
        """Sources that cannot be opened, looked at, listed or read, copies that cannot be made, written or closed, free room that cannot be asked for, folders that do not tell what is a file | a chosen call fails, with any error | a record names the path, the number and the text, another one how many more there were; everything else is in the archive, and what was read of it"""
        a, many = LOGS + "a.log", LOGS + "many/*/*.log"
        io, quota = "Input/output error", "Disk quota exceeded"
        for calls, path, error, first, *expected in (
                ("openat", LOGS + "sub", EACCES, 1, FOLDER % (LOGS + "sub", EACCES, "Permission denied")),
                ("openat", LOGS[:-1], EIO, 1, FOLDER % (LOGS[:-1], EIO, io)),
                ("readdir", LOGS[:-1], EIO, 5, FOLDER % (LOGS[:-1], EIO, io)),
                ("openat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("fstatat fstat", a, EIO, 1, COPY % (a, ADA, EIO, io)),
                ("read", a, EIO, 2, COPY % (a, ADA, EIO, io)),
                ("openat", ADA + "/a.log", ENOENT, 1, COPY % (a, ADA, ENOENT, "No such file or directory")),
                ("write", ADA + "/a.log", EDQUOT, 2, COPY % (a, ADA, EDQUOT, quota)),
                ("close", ADA + "/a.log", EIO, 1, COPY % (a, ADA, EIO, io)),
                ("mkdirat", ADA + "/sub", EIO, 1, NOT_MADE % (ADA + "/sub")), ("mkdir", ADA, EIO, 1, NOT_MADE % ADA),
                ("openat", many, EIO, 1, COPY % (LOGS + "many/N", ADA + "/many/N", EIO, io),
                 "29 more of %s lost; Reason: code:5 msg:%s" % (LOGS[:-1], io)),
                ("read", LAUNCHD, EIO, 1, COPY % (LAUNCHD, SCRATCH + "/system/com.apple.xpc.launchd", EIO, io)),
                ("read", INSTALLER, EIO, 1, "copy_file %s to %s/logs/oBrelaInstallOut.log failed.; Reason: code:5 msg:%s"
                 % (INSTALLER, SCRATCH, io)),
                # No news: files that may not be opened, or have gone; a volume that does not tell its room, or entries' kinds.
                ("openat", a, EACCES, 1), ("openat", a, ENOENT, 1), ("statvfs", SCRATCH + "*", EIO, 1),
                ("readdir", "*", 0, 1)):
            with self.subTest(calls=calls, path=path, error=error):
                box = self.full_box()
                result = box.run(env=self.failing(box, calls, path, error, first))
                contents = self.assertWhole(box, logs=())
                self.assertEqual(self.told(box), expected, result.err)
                whole = len([c for c in contents.values() if c == b"text" * 50000])
                self.assertGreaterEqual(whole, 4 if path in (ADA, LOGS[:-1]) else 6 if "*" in path else 5)
                if first == 5:  # "." and ".." come first
                    self.assertEqual(len({n.split("/")[2] for n in contents if n.startswith("logs/ada/")}), 2)
                if first == 2:
                    self.assertEqual(len(contents["logs/ada/a.log"]), 65536)

    def test_packing(self):
        """A call fails while the archive is written: on its file, or on the copies | opening, writing (at the end, or one time in between), asking for its state, flushing, shortening, linking or renaming (a volume without hard links); opening, listing, reading | the archive is whole or no file has an archive's name and what there is of it ends in ".incomplete"; the first loss of each folder and error is in the log, with the number of the others """
        archive, noise, more = "*/oBrelaLog_*", ADA + "/noise.log", ADA + "/more"
        closing = r"Generate zip file.*Error (closing zip|adding '.*' to zip).*"
        creating = "Generate zip file.*Error creating zip in.*"
        lost = r"pack %s failed.; Reason: code:5 msg:Input/output error"
        for calls, path, error, first, left, told in (
                ("openat", archive, EACCES, 2, [".incomplete"], creating), ("fstat", archive, EIO, 1, [".incomplete"], creating),
                ("fstatat", "*.zip", EIO, 3, [".incomplete"], creating),
                ("fwrite", archive, ENOSPC, 1, [".incomplete"], closing), ("fwrite", archive, EIO, -20, [".incomplete"], closing),
                ("fsync", archive, EIO, 1, [".incomplete"], closing), ("ftruncate", archive, EIO, 1, [".incomplete"], closing),
                ("linkat renameat", archive, EIO, 1, [".incomplete"], closing), ("linkat", archive, EACCES, 1, [""], ""),
                ("pread", noise, EIO, 2, [""], lost % noise),
                ("openat", ADA, EIO, 1, [""], lost % ADA), ("readdir", more, EIO, 5, [""], lost % more),
                ("openat", noise, EACCES, 2, [""], "pack %s failed.; Reason: code:13 msg:Permission denied" % noise),
                ("pread", more + "/?.log", EIO, 1, [""], lost % (more + r"/\d\.log") +
                 "\n2 more of %s/logs lost; Reason: code:5 msg:Input/output error" % SCRATCH)):
            with self.subTest(calls, path=path, first=first):
                box = self.box()
                box.put(LOGS + "noise.log", os.urandom(9 if error == ENOSPC else 3 * MIB))  # 9: written at the end
                for number in range(3):
                    box.put(LOGS + "more/%d.log" % number, "more")
                box.run(env=self.failing(box, calls, path, error, first))
                self.assertEqual([n.partition(".zip")[2] for n in box.archives()], left)
                self.assertRegex("\n".join(box.messages("compressLogs")), r"\A(%s)\Z" % told)
                contents = box.zip() if left == [""] else {"system_info.log": b""}
                self.assertIn("system_info.log", contents)
                if calls == "readdir":  # a listing that breaks off loses no name that was read before
                    self.assertTrue(any(name.startswith("logs/ada/more/") for name in contents))

    def test_little_room(self):
        """A file larger than the room that packing needs, or that would take the volume's last 100 MiB; little room when packing begins, copies that vanish or shrink, an unfinished archive of another run that has the name | 600 MiB, one log of 1 TiB, one of 260 MiB among others; filled up but for half the size of the archive, done right before packing, names for the next minute | both are left out and named; each copy goes as soon as it is packed, what is left of them is in the archive; the other run's stays as it is, the archive has a later second's name"""
        box = self.box(drive=600, fakes={"ps": GATE})
        logs = {"%d.log" % number: os.urandom(8 * MIB) for number in range(3)}
        for name, content in [*logs.items(), ("shrink.log", "text" * 10000), ("vanish.log", "text")]:
            box.put(LOGS + name, content)
        box.put(LOGS + "giant.log", size=1 << 40)
        box.put(LOGS + "capture.pcap", size=260 * MIB)
        box.put(LAUNCHD, "last")
        started = box.start("--dir=" + OUT)
        with self.held(box):
            until(lambda: os.path.exists(box.path(OUT + "/logFiles/system/com.apple.xpc.launchd/launchd.log")))
            os.unlink(box.path(OUT + "/logFiles/logs/ada/vanish.log"))
            os.truncate(box.path(OUT + "/logFiles/logs/ada/shrink.log"), 5)
            others = [OUT + name for name in archive_names(".incomplete")]
            for name in others:
                box.put(name, "other")
            self.fill(box, 12 * MIB)
        box.finish(started)
        for name in others:
            self.assertEqual(box.read(name), b"other")
            os.unlink(box.path(name))
        contents = self.assertWhole(box, OUT, [*logs.items(), ("shrink.log", b"textt"), ("kept.log", b"kept")])
        self.assertEqual({"vanish.log", "giant.log", "capture.pcap"} & {n.split("/")[-1] for n in contents}, set())
        self.assertRegex("\n".join(self.told(box)), r"\Acopy /.*/(giant\.log|capture\.pcap) to /.* failed.; Reason: code:28 .*\n"
                         "1 more of %s lost; Reason: code:28 msg:No space left on device$" % LOGS[:-1])

    def test_shell_cannot_be_started(self):
        """No shell can be started | /bin/sh cannot be executed | every command is reported as failed, the archive has all files"""
        box = self.box()
        mount("/dev/null", box.path(os.path.realpath("/bin/sh")), None, MS_BIND)
        box.run()
        self.assertEqual(self.assertWhole(box)["logs/system_wide.log"], b"")
        self.assertRegex("\n".join(box.messages("cmdPopen")), r"popen\(cmd\) fail,cmd:chmod.*; Reason: errorno:1\d,msg:")
        self.assertEqual([m[-5:] for m in box.messages("collectSystemWideLog")], ["start", "false"])

    def test_what_runs_out(self):
        """No more processes and threads; no more file descriptors; hardly any memory | a limit of 1 to 14 for an ordinary user; of 3 to 30; of 3 to 20 MB of data | without its three workers the run ends abnormally and leaves no archive; it ends with 0 else, an archive that is there is whole, and from 16 descriptors and 8 MB on it has everything"""
        self.need_second_user()
        # A sanitizer needs descriptors and much memory for its own checks.
        limits = [("p", n, 20000 + n) for n in range(1, 15)] + [("n", n, None) for n in range(20 if SANITIZED else 3, 31)]
        limits += [("s 256; ulimit -d", n, None) for n in (3000, 5000, 8000, 20000) if not SANITIZED]
        runs = [(box, box.start(shell='ulimit -%s %d; exec "$@"' % (kind, n), user=user), kind, n)
                for kind, n, user in limits for box in [self.box()]]
        for box, started, kind, number in runs:
            with self.subTest(kind, number=number):
                box.finish(started, status=None)
                status, has_root = started[0].returncode, os.path.exists(box.path(ROOT_DIR))
                contents = box.zip() if has_root and any(n.endswith(".zip") for n in box.archives()) else None
                self.assertIn(status, (0, -signal.SIGABRT) if kind == "p" else (0,) if number > 8 else (0, 127, 161, 163))
                if kind == "p":
                    self.assertEqual(contents is None, status != 0)
                elif number >= (16 if kind == "n" else 8000):
                    self.assertEqual((contents["logs/ada/kept.log"], "LogColltionTool.log" in contents), (b"kept", True))

    def run_in_little_memory(self, box, *arguments, **how):
        """A run that never had more than 32 MiB, asked for while it shows the archive."""
        started = box.start(*arguments, **how)
        with self.held(box), open("/proc/%d/status" % started[0].pid) as file:
            peak = int(re.search(r"VmHWM:\s*(\d+) kB", file.read())[1])
        box.finish(started)
        self.assertTrue(SANITIZED or peak < 32 * 1024, peak)

    def test_much_data_and_little_memory(self):
        """Much data, many files, deep trees, long paths, little memory | a log of 256 MiB, 66,000 others, 500 levels, a log whose path is too long but whose copy's is not, and a folder for which both are; in the output folder a tree deeper than any path; 128 MiB of data, 512 KiB a stack, 256 descriptors to begin with | what has a path in the scratch folder is in the archive, else it is named; the deep tree is removed; at most 32 MiB of memory"""
        # A sanitizer needs terabytes of address space, and its frames are much larger.
        size, count, limits = (64 * MIB, 2000, "") if SANITIZED else (256 * MIB, 66000, "ulimit -s 512; ulimit -d 131072; ")
        box, deep, path = self.box(fakes={"open": GATE}), "d/" * 500 + "deep.log", ("m" * 200 + "/") * 20
        box.put(LOGS + deep, "deep")
        box.put(LOGS + "giant.log", size=size)
        for number in range(count):
            os.link(box.path(LOGS + "kept.log"), box.path(LOGS + "%d.log" % number))
        log, folder = "f" * (4090 - len(ADA + "/" + path)), "f" * 100
        for top, names in ((LOGS, path.split("/")[:-1] + [folder]), ("/tmp", ["oBrelaLog"] + ["x" * 250] * 40)):
            os.chdir(box.path(top))
            for name in names:
                os.mkdir(name)
                if name == folder:
                    open(log, "w").close()
                os.chdir(name)
        os.chdir("/")
        self.run_in_little_memory(box, shell=limits + 'ulimit -S -n 256; exec "$@"')
        contents = self.assertWhole(box, logs=((deep, b"deep"), (path + log, b""), ("kept.log", b"kept")))
        self.assertEqual((len(contents["logs/ada/giant.log"]), len([n for n in contents if n.startswith("logs/ada/")])), (size, count + 4))
        archive = box.read(ROOT_DIR + "/" + box.archives()[0])  # its last records tell the number of entries
        self.assertEqual(archive[-98:-94] == b"PK\6\6", count > 65535)
        self.assertEqual(self.told(box), [COPY % (LOGS + path + folder, ADA + "/" + path[:-1], 36, "File name too long")])

    def test_volume_that_fills_up(self):
        """A volume that fills up to the last byte | while files are copied | exit status 0, no archive; the own log, on another volume, tells why; remains bear the name ".zip.incomplete" """
        box = self.box(drive=600, fakes={"chmod": '[ "$2" = 777 ] && ' + GATE + 'exec /bin/chmod "$@"'})
        started = box.start("--dir=" + OUT)
        with self.held(box):
            self.fill(box)
        box.finish(started)
        self.assertIn(COPY % (LOGS + "kept.log", OUT + "/logFiles/logs/ada", ENOSPC, "No space left on device"), self.told(box))
        self.assertRegex(" ".join(os.listdir(box.path(OUT))), r"^\S+\.zip\.incomplete$")
        self.assertRegex("\n".join(box.messages("compressLogs")), r"Generate zip file\(.*\) throw exception; Reason: ")

    def test_commands_that_print_for_ever(self):
        """Commands that print for ever | they flood the three reports and the tool itself, on a volume of 600 MiB | each report ends at an eighth of the free room (1 GiB at most) and a record tells; the archive is made with everything else"""
        flood = {name: 'exec yes "oBrela QMUem $(seq -s - 1000)"' for name in ("ps", "journalctl")}
        box = self.box(drive=600, fakes={**flood, "open": GATE, "chmod": '[ "$2" = 777 ] && yes | head -c 200000000; exec /bin/chmod "$@"'})
        box.put(UEM_LOGS + "u.log")
        self.run_in_little_memory(box, "--dir=" + OUT)
        contents = self.assertWhole(box, OUT)
        for name, function, command in (("system_info.log", "collectSystemInfo", "ps aux | grep oBrela"),
                                        ("logs/system_wide.log", "collectSystemWideLog", "journalctl"),
                                        ("logs/uem_ada/system_state.log", "collectSystemStateForUem", "ps aux | grep QMUem")):
            self.assertEqual(len(contents[name]), 600 // 8 << 20, name)
            [record] = [message for message in box.messages(function) if " at its limit of " in message]
            self.assertRegex(record, r"report \S+/%s ends .*: %s.*%s" % (name.split("/")[-1], re.escape(command), name))

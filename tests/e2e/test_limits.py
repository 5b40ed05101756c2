"""What runs out: processes, descriptors, memory, names for paths; commands that print for ever."""
import os
import pathlib
import re
import signal

import sandbox
import zip_walker
from sandbox import GATE, LOGS, MIB, ROOT_DIR, SCRATCH, held

SANITIZED = any(name in sandbox.TOOL for name in ("/asan/", "/tsan/"))


class Limits(sandbox.Case):
    def test_what_runs_out(self):
        """Without its three workers a run ends abnormally; else with 0, and an archive that is there is whole."""
        self.need_second_user()
        # A sanitizer needs descriptors and much memory for its own checks.
        limits = [("p", n, 20000 + n) for n in range(1, 13)] + [("n", n, None) for n in (3, 4, 5, *range(6, 31, 3)) if n > 19 or not SANITIZED]
        limits += [("s 256; ulimit -d", n, None) for n in (3000, 8000, 20000) if not SANITIZED]
        runs = []
        for kind, number, user in limits:
            box = self.box(console="ada")
            box.put(LOGS + "kept.log", "kept")
            runs.append((box, box.start(shell='ulimit -%s %d; exec "$@"' % (kind, number), user=user), kind, number))
        for box, process, kind, number in runs:
            with self.subTest(kind, number=number):
                box.finish(process, status=None)
                has_root = os.path.exists(box.path(ROOT_DIR))
                contents = box.zip() if has_root and any(n.endswith(".zip") for n in box.archives()) else None
                self.assertIn(process.returncode, (0, -signal.SIGABRT) if kind == "p" else (0,) if number > 8 else (0, 127, 161, 163))
                if kind == "p":
                    self.assertEqual(contents is None, process.returncode != 0)
                elif number >= (24 if kind == "n" else 8000):
                    self.assertEqual((contents["logs/ada/kept.log"], "LogColltionTool.log" in contents), (b"kept", True))

    def test_much_data_and_little_memory(self):
        """What has a path in the scratch folder is in the archive, also if its source has none; a deep tree of older output goes."""
        # A sanitizer needs terabytes of address space, and its frames are much larger.
        size, count, limits = (64 * MIB, 2000, "") if SANITIZED else (64 * MIB, 65536, "ulimit -s 512; ulimit -d 131072; ")
        flood = "yes $(seq -s - 1000) | head -c 40000000"
        box = self.box(console="ada", fakes={"open": GATE, "journalctl": flood, "chmod": flood})
        deep, path = "d/" * 500 + "deep.log", ("m" * 200 + "/") * 20
        for name, what in ("kept.log", "kept"), (deep, "deep"), ("giant.log", size):
            box.put(LOGS + name, what)
        for number in range(count):
            os.link(box.path(LOGS + "kept.log"), box.path(LOGS + "%d.log" % number))
        log, folder = "f" * (4090 - len(SCRATCH + "/logs/ada/" + path)), "f" * 100
        for top, names in ((LOGS, path.split("/")[:-1] + [folder]), ("/tmp", ["oBrelaLog"] + ["x" * 250] * 40)):
            os.chdir(box.path(top))
            for name in names:
                os.mkdir(name)
                if name == folder:
                    open(log, "w").close()
                os.chdir(name)
        os.chdir("/")
        box.put("/gate", os.mkfifo)
        process = box.start(shell=limits + 'ulimit -S -n 256; exec "$@"')
        with held(box):
            peak = int(re.search(r"VmHWM:\s*(\d+) kB", pathlib.Path("/proc/%d/status" % process.pid).read_text())[1])
        box.finish(process)
        self.assertTrue(SANITIZED or peak < 32 * 1024, peak)
        self.assertEqual(os.listdir(box.path(ROOT_DIR)), box.archives())
        entries, whole = zip_walker.walk(box.read(ROOT_DIR + "/" + box.archives()[0]))
        self.assertEqual(whole, ["64-bit end record, versions 45 45"] * (count > 65535))
        mine = {name[9:]: (data, length, len(traits)) for name, data, length, traits in entries if name.startswith("logs/ada/")}
        self.assertEqual(len(mine), count + 4)
        self.assertEqual([mine[name] for name in (deep, path + log, "1.log", "giant.log")],
                         [(b"deep", 4, 1), (b"", 0, 1), (b"kept", 4, 1), (None, size, 1)])
        self.assertRegex(box.read(sandbox.OWN_LOG), b"copyDir:.*%s.*File name too long" % (LOGS + path + folder).encode())

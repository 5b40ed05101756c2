"""What runs out: processes, descriptors, memory, names for paths; a terminal's commands that print for ever."""
import os
import re
import signal

import sandbox
import zip_walker
from play import GATE, held
from sandbox import MIB, ROOT_DIR, SCRATCH, SHARED

LOGS, ADA = "/Users/ada" + SHARED + "/logs/", SCRATCH + "/logs/ada"
SANITIZED = any(name in sandbox.TOOL for name in ("/asan/", "/tsan/"))


class Limits(sandbox.Case):
    def box(self, **options):
        box = super().box(console="ada", **options)
        box.put(LOGS + "kept.log", "kept")
        os.mkfifo(box.path("/gate"))
        return box

    def test_what_runs_out(self):
        """Without its three workers a run ends abnormally; else with 0, and an archive that is there is whole."""
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
                elif number >= (24 if kind == "n" else 8000):
                    self.assertEqual((contents["logs/ada/kept.log"], "LogColltionTool.log" in contents), (b"kept", True))

    def run_in_little_memory(self, box, **how):
        """A run that never had more than 32 MiB, asked for while it shows the archive."""
        started = box.start(**how)
        with held(box), open("/proc/%d/status" % started[0].pid) as file:
            peak = int(re.search(r"VmHWM:\s*(\d+) kB", file.read())[1])
        box.finish(started)
        self.assertTrue(SANITIZED or peak < 32 * 1024, peak)

    def test_commands_that_print_for_ever(self):
        flood = "yes $(seq -s - 1000) | head -c 200000000"
        self.run_in_little_memory(self.box(fakes={"journalctl": flood, "open": GATE, "chmod": flood}))

    def test_much_data_and_little_memory(self):
        """What has a path in the scratch folder is in the archive, also if its source has none; a deep tree of older output goes."""
        # A sanitizer needs terabytes of address space, and its frames are much larger.
        size, count, limits = (64 * MIB, 2000, "") if SANITIZED else (64 * MIB, 65536, "ulimit -s 512; ulimit -d 131072; ")
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
        self.assertEqual(os.listdir(box.path(ROOT_DIR)), box.archives())
        entries, whole = zip_walker.walk(box.read(ROOT_DIR + "/" + box.archives()[0]))
        self.assertEqual([trait for trait in whole if "wrong" in trait or "lies" in trait or "differ" in trait or "fit" in trait], [])
        self.assertEqual("64-bit" in "".join(whole), count > 65535)
        mine = {name[9:]: (data, length, len(traits)) for name, data, length, traits in entries if name.startswith("logs/ada/")}
        self.assertEqual(len(mine), count + 4)
        self.assertEqual([mine[name] for name in (deep, path + log, "1.log", "giant.log")],
                         [(b"deep", 4, 1), (b"", 0, 1), (b"kept", 4, 1), (None, size, 1)])
        self.assertRegex(box.read(sandbox.OWN_LOG), b"copyDir:.*%s.*File name too long" % (LOGS + path + folder).encode())

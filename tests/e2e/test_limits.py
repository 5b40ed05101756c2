"""What runs out: processes, descriptors, memory, names for paths; commands that print for ever."""
import os
import pathlib
import re
import signal

import sandbox
from sandbox import GATE, LOGS, MIB, OWN_LOG, ROOT_DIR, SCRATCH, held

SANITIZED = any(name in sandbox.TOOL for name in ("/asan/", "/tsan/"))  # needs much memory and descriptors of its own
# A limit, what it is set to, from where on the archive must have everything, and the statuses that are right.
PROCESSES = [("p", number, 99, (0, -signal.SIGABRT)) for number in range(1, 13)]
DESCRIPTORS = [("n", number, 24, (0,) if number > 8 else (0, 127, 161, 163)) for number in (3, 4, 5, *range(6, 31, 3))]
MEMORY = [("s 256; ulimit -d", number, 8000, (0,)) for number in (3000, 8000, 20000)]
# A folder that is as deep as a path may be long, and a name that is too long for a path in it.
DEEP, MIDDLE, LEAF = "d/" * 500 + "deep.log", ["m" * 200] * 20, "f" * 100
LONG = "f" * (4090 - len(SCRATCH + "/logs/ada/") - 201 * 20)


def make_deep(folder, names):
    os.chdir(folder)
    for name in names:
        os.mkdir(name)
        os.chdir(name)


class Limits(sandbox.Case):
    def test_what_runs_out(self):
        """Without its three workers a run ends abnormally; else with 0, and an archive that is there is whole."""
        self.need_second_user()
        runs = []
        for limit, number, enough, ends in PROCESSES + (DESCRIPTORS[8:] if SANITIZED else DESCRIPTORS + MEMORY):
            box = self.box(console="ada")
            box.put(LOGS + "kept.log", "kept")
            user = 20000 + number if limit == "p" else None
            shell = 'ulimit -%s %d; exec "$@"' % (limit, number)
            runs.append((box, box.start(shell=shell, user=user), number >= enough, ends))
        for box, process, all_is_there, ends in runs:
            with self.subTest(process.args):
                box.finish(process, status=None)
                self.assertIn(process.returncode, ends)
                made = os.path.exists(box.path(ROOT_DIR)) and any(name.endswith(".zip") for name in box.archives())
                contents = box.zip() if made else {}
                if ends == PROCESSES[0][3]:
                    self.assertEqual(bool(contents), process.returncode == 0)
                if all_is_there:
                    self.assertEqual((contents["logs/ada/kept.log"], "LogColltionTool.log" in contents), (b"kept", True))

    def test_much_data_and_little_memory(self):
        """What has a path in the scratch folder is in the archive, also if its source has none; a deep tree of older output goes."""
        # A sanitizer needs terabytes of address space, and its frames are much larger.
        count, limits = (2000, "") if SANITIZED else (65536, "ulimit -s 512; ulimit -d 131072; ")
        flood = "yes $(seq -s - 1000) | head -c 40000000"
        box = self.box(console="ada", fakes={"open": GATE, "journalctl": flood, "chmod": flood})
        for name, what in ("kept.log", "kept"), (DEEP, "deep"), ("giant.log", 64 * MIB):
            box.put(LOGS + name, what)
        for number in range(count):
            os.link(box.path(LOGS + "kept.log"), box.path(LOGS + "%d.log" % number))
        make_deep(box.path("/tmp"), ["oBrelaLog"] + ["x" * 250] * 40)
        make_deep(box.path(LOGS), MIDDLE)
        pathlib.Path(LONG).write_text("long")
        os.mkdir(LEAF)
        os.chdir("/")
        box.put("/gate", os.mkfifo)
        process = box.start(shell=limits + 'ulimit -S -n 256; exec "$@"')
        with held(box):
            status = pathlib.Path("/proc/%d/status" % process.pid).read_text()
        box.finish(process)
        self.assertTrue(SANITIZED or int(re.search(r"VmHWM:\s*(\d+) kB", status)[1]) < 32 * 1024, status)
        self.assertEqual(os.listdir(box.path(ROOT_DIR)), box.archives())
        mine = {name[9:]: content for name, content in box.zip().items() if name.startswith("logs/ada/")}
        self.assertEqual(len(mine), count + 4)
        self.assertEqual([mine[name] for name in (DEEP, "/".join([*MIDDLE, LONG]), "1.log", "giant.log")],
                         [b"deep", b"long", b"kept", None])
        self.assertRegex(box.read(OWN_LOG), b"copyDir:.*%s.*File name too long" % "/".join([LOGS[:-1], *MIDDLE, LEAF]).encode())

"""What runs out: processes, descriptors, memory, names for paths; commands that print for ever."""
import os
import pathlib
import re

import sandbox
from play import play
from sandbox import GATE, LOGS, MIB, OWN_LOG, ROOT_DIR, SCRATCH, held

SANITIZED = any(name in sandbox.TOOL for name in ("/asan/", "/tsan/"))  # needs much memory and descriptors of its own
# For each limit: what it is set to; from where on an archive must have everything; the statuses that are right.
LIMITS = {"p": (range(1, 13), 99, (0, -6)), "n": (range(9, 31, 3), 24, (0,)),
          "s 256; ulimit -d": ((3000, 8000, 20000), 8000, (0,)), "n ": (range(3, 9), 99, (0, 127, 161, 163))}
# A folder that is as deep as a path may be long, a name in it that a path may just have, and one that is too long.
DEEP, MIDDLE, TOO_LONG = "d/" * 500 + "deep.log", ["m" * 200] * 20, "f" * 100
JUST = "f" * (4090 - len("/".join([SCRATCH, "logs/ada", *MIDDLE, ""])))


class Limits(sandbox.Case):
    def test_what_runs_out(self):
        """Without its three workers a run ends abnormally; else with 0, and an archive that is there is whole."""
        for limit in ["p"] if SANITIZED else LIMITS:
            values, enough, ends = LIMITS[limit]
            state = play([{"shell": 'ulimit -%s %d; exec "$@"' % (limit, value), "files": {ROOT_DIR: None},
                           "user": 20000 + value if limit == "p" else 0} for value in values])
            for value, title in zip(values, (title for title in state if title.startswith("archive"))):
                with self.subTest(limit, value=value):
                    archive = state[title] if ".incomplete" not in str(state[title][:1]) else []
                    status = int(re.match("status (-?[0-9]+)", state[title.replace("archive", "run")][0])[1])
                    self.assertIn(status, ends)
                    self.assertFalse(re.search("wrong|damaged|differ|lies|WRONG", "\n".join(archive)))
                    self.assertTrue(not archive or archive[1:2] == ["for unzip: whole"])
                    if limit == "p":
                        self.assertEqual(bool(archive), status == 0)
                    if value >= enough:
                        self.assertIn("logs/ada/a.txt '%sa.txt'" % LOGS, archive)

    def test_much_data_and_little_memory(self):
        """What has a path in the scratch folder is in the archive, also if its source has none; a deep tree goes."""
        # A sanitizer needs terabytes of address space, and its frames are much larger.
        count, limits = (2000, "") if SANITIZED else (65536, "ulimit -s 512; ulimit -d 131072; ")
        flood = "yes $(seq -s - 1000) | head -c 40000000"
        box = self.box(console="ada", fakes={"open": GATE, "journalctl": flood, "chmod": flood})
        for name, what in ("kept.log", "kept"), (DEEP, "deep"), ("giant.log", 64 * MIB):
            box.put(LOGS + name, what)
        for number in range(count):
            os.link(box.path(LOGS + "kept.log"), box.path(LOGS + "%d.log" % number))
        for top, names in (box.path("/tmp"), ["oBrelaLog"] + ["x" * 250] * 40), (box.path(LOGS), [*MIDDLE, TOO_LONG]):
            os.chdir(top)
            for name in names:
                os.mkdir(name)
                os.chdir(name)
        pathlib.Path("../" + JUST).write_text("long")
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
        self.assertEqual([mine[name] for name in (DEEP, "/".join([*MIDDLE, JUST]), "1.log", "giant.log")],
                         [b"deep", b"long", b"kept", None])
        self.assertRegex(box.read(OWN_LOG).decode(), "copyDir:.*%s.*File name too long" % "/".join([*MIDDLE, TOO_LONG]))

"""One call after the other fails, wherever the tool makes it: whatever a run leaves otherwise then, a record tells."""
import os
import pathlib
import re
import unittest

from play import difference, play
from sandbox import no_shell

RUNS = int(os.environ.get("SWEEP", 40))  # of all pairs of a call and a path that a run has, about so many are tried
CALLS = re.findall(r"X\((\w+)\)", pathlib.Path(__file__).with_name("failing_calls.cpp").read_text())
OURS = re.compile(r"/(tmp/oBrelaLog|Users|Library|var/log)\b")


def pairs():
    """The state of a run, and each call with each path that the tool makes it on; an archive's name is a pattern."""
    trace = []
    base = play([{"fails": (" ".join(CALLS), "*", -2)}], make=lambda box: [no_shell(box), box.put("/trace", mode=0o666)],
                last=lambda box: trace.extend(box.read("/trace").decode().splitlines()))
    found = {tuple(re.sub(r"_20\d{12}", "_*", line).split(" ", 1)) for line in trace}
    return base, sorted(pair for pair in found if OURS.match(pair[1]))


class Sweep(unittest.TestCase):
    def test_what_one_failing_call_costs_is_told(self):
        base, found = pairs()
        self.assertGreater(len(found), RUNS)
        for call, path in found[::max(1, len(found) // RUNS)]:
            with self.subTest(call, path=path):
                differs = difference(base, play([{"fails": (call, path, 5, -1)}], make=no_shell))
                self.assertFalse([line for line in differs if "WRONG" in line])
                section, left, told = "", [], []
                for line in differs:
                    section = line[3:] if line[:3] == "@@ " else section
                    if line[:1] in "+-" and section in ("archive", "paths", "requests"):
                        left.append(line)
                    if re.match(r"\+(log isn't inited|.*(warning|error) |.*fail)", line) and section in ("records", "stderr", "stdout"):
                        told.append(line)
                self.assertFalse([line for line in left if re.match(r".(changed|removed): \d+ \d+ \w+ /(Users/ada|Library|var)", line)])
                self.assertTrue(told or not left, "\n".join(differs))

"""One call after the other fails, wherever the tool makes it: whatever a run leaves otherwise then, a record tells."""
import os
import pathlib
import re
import unittest

from play import difference, play
from sandbox import ROOT_DIR, no_shell

RUNS = int(os.environ.get("SWEEP", 40))  # of all pairs of a call and a path that a run has, about so many are tried
CALLS = re.findall(r"X\((\w+)\)", pathlib.Path(__file__).with_name("failing_calls.cpp").read_text())
OURS = re.compile(r"(/tmp/oBrelaLog|/Users|/Library|/var/log)\b")
HARM = re.compile(r".(changed|removed): \d+ \d+ \w+ /(Users/ada|Library|var)")
TOLD = re.compile(r"\+(log isn't inited|.*(warning|error) |.*fail)")


def pairs():
    """The state of a run, and each call with each path that the tool makes it on; an archive's name is a pattern."""
    base = play([{"fails": (" ".join(CALLS), "*", -2)}], make=no_shell)
    trace = [line.replace("<out>", ROOT_DIR).replace("_<now>", "_*").split(" ", 1) for line in base["stderr"]]
    base["stderr"] = []
    return base, sorted({(call, path) for call, path in trace if OURS.match(path)})


class Sweep(unittest.TestCase):
    def test_what_one_failing_call_costs_is_told(self):
        base, found = pairs()
        self.assertGreater(len(found), RUNS)
        for call, path in found[::len(found) // RUNS]:
            with self.subTest(call, path=path):
                state = play([{"fails": (call, path, 5, -1)}], make=no_shell)
                differs = {name: difference(base, {name: state[name]}) for name in state}
                left = differs["archive"] + differs["paths"] + differs["requests"]
                told = differs["records"] + differs["stderr"] + differs["stdout"]
                self.assertFalse([line for line in sum(differs.values(), []) if "WRONG" in line])
                self.assertFalse(list(filter(HARM.match, left)))
                self.assertTrue(list(filter(TOLD.match, told)) or not left, differs)

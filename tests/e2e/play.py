"""Plays a scenario: runs the tool on a machine that differs a little from the base machine; compares what it leaves."""
import contextlib
import difflib
import os
import pathlib
import sys
import time

import sandbox
from sandbox import PORT_FILE, ROOT_DIR, Server, held
from state import State
from terminal import Terminal

EXPECTED = pathlib.Path(__file__).resolve().with_name("expected")
SHOWN = 4  # lines in a row that only the state before has; of more, the first and the last and their number
SCENARIOS = {}


def scenario(name, *arguments, **differs):
    assert name not in SCENARIOS, name
    SCENARIOS[name] = dict(differs, arguments=arguments)


def each(what, values):
    """Runs that differ in this alone."""
    return [{what: value} for value in values]


def ok(body):
    return b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s" % (len(body), body)


def put_machine(box):
    """Every source with a file, whose text is its path, and what earlier runs have left; the last one is the oldest."""
    for age, path in enumerate((EXPECTED / "machine").read_text().splitlines()):
        box.put(path, "left over" if path.startswith(ROOT_DIR) else path, age)


def play(runs=({},), bare=False, console="ada", tool=sandbox.TOOL, fakes=(), answer=ok(b"module one\n"), port=0,
         terminal=False, waits=99, files=(), make=None, **shared):
    """Returns the state that one scenario leaves.

    runs: what each run has of its own, beside `shared`; see run_once. bare: nothing of what the base machine has;
    answer: the tunnel service's (see Server), None: no service; terminal: standard error is one; waits: see State;
    files, make: see prepare."""
    with contextlib.ExitStack() as stack:
        box = stack.enter_context(contextlib.closing(sandbox.Box(console, fakes, tool)))
        if terminal:
            box.screen = stack.enter_context(contextlib.closing(Terminal(160)))
            box.bind("/dev/pts")
        if not bare:
            put_machine(box)
        if answer is not None:
            box.server = Server(answer, port)
            box.put(PORT_FILE, str(box.server.port))
        prepare(box, files, make)
        state = State(box, waits)
        for number, run in enumerate(runs):
            run_once(state, number, **{**shared, **run})
        return state.sections


def prepare(box, files, make):
    """files: what Box.put puts, by path, a dict being its arguments; make: called with the box then."""
    for path, what in dict(files).items():
        box.put(path, **(what if isinstance(what, dict) else {"what": what}))
    if make:
        make(box)


def run_once(state, number, arguments=(), files=(), make=None, answer=None, meanwhile=None, fails=None, env=(), **how):
    """One run; what is not named here is for Box.start. In its TZ it is late in the evening, an hour earlier each time.

    meanwhile: called with the box and the process while something waits at the gate; fails: see sandbox.failing."""
    box, seen = state.box, ()
    prepare(box, files, make)
    if answer is not None:
        box.server.answer = answer
    if meanwhile:
        box.put("/gate", os.mkfifo)
    if box.screen:
        how["shell"] = how.get("shell", 'exec "$@" 2<>%s') % box.screen.name
    environment = {"TZ": "LCT%d" % (time.gmtime().tm_hour - 23 + number % 24), **dict(env)}
    environment.update(sandbox.failing(*fails) if fails else ())
    state.begin(environment["TZ"])
    process = box.start(*arguments, env=environment, **how)
    if meanwhile:
        with held(box):
            seen = meanwhile(box, process)
    note = "; %s of %s failed: %s" % fails[:3] if fails else ""
    state.ran(process.wait(), seen if box.screen and seen else (), note)


def difference(base, state):
    """What differs from the base state, by sections; of a later run, from that or the run before, whichever is less."""
    lines, before = [], {}
    for title, section in state.items():
        name = title.split()[0]
        found = {"": changes(base[name], section)}
        if name in before:
            found[" beside the run before"] = changes(before[name], section)
        beside, shortest = min(found.items(), key=lambda one: len(one[1]))
        lines += ["@@ " + title + beside, *shortest] if shortest else []
        before[name] = section
    return lines


def changes(before, after):
    found = []
    matcher = difflib.SequenceMatcher(None, before, after, False)
    for kind, i1, i2, j1, j2 in matcher.get_opcodes() if before != after else ():
        if kind != "equal":
            gone = before[i1:i2]
            gone[1:-1] = ["(%d more)" % (len(gone) - 2)] if len(gone) > SHOWN else gone[1:-1]
            found += ["-" + line for line in gone] + ["+" + line for line in after[j1:j2]]
    return found


def check(name, approve):
    """Plays a scenario; returns what is not as expected, or writes it down as what is expected."""
    path, state = EXPECTED / name, play(**SCENARIOS[name])
    if name == "base":
        lines = [line for title, section in sorted(state.items()) for line in ["## " + title, *section]]
    else:
        sections = (EXPECTED / "base").read_text()[3:].rstrip("\n").split("\n## ")
        lines = difference({section.split("\n")[0]: section.split("\n")[1:] for section in sections}, state)
    if approve:
        path.write_text("".join(line + "\n" for line in lines))
    known = path.read_text().splitlines() if path.exists() else []
    differs = difflib.unified_diff(known, lines, "expected/" + name, "now", n=1, lineterm="")
    return [*differs, *(line for line in lines if "WRONG" in line)]


def main(words):
    """words: see scenarios.py."""
    approve = "--approve" in words
    names = [word for word in words if word != "--approve"]
    sandbox.enter(str(EXPECTED) if approve else None)
    if names and "/" in names[0]:
        part, parts = map(int, names[0].split("/"))
        parted = sorted(name for name in SCENARIOS if name != "base" and "waits" not in SCENARIOS[name])
        names = parted[part - 1::parts]
    failed = []
    for name in sorted(names or SCENARIOS, key=lambda name: name != "base"):
        found = check(name, approve)
        if found:
            failed.append(name)
            print("\n".join(found), flush=True)
            if "MUTATE_CONFINED" in os.environ:
                break
    if failed:
        sys.exit("not as expected: " + " ".join(failed))

"""Plays a scenario: runs the tool on a machine that differs a little from the base machine; compares what it leaves."""
import contextlib
import difflib
import glob
import os
import pathlib
import re
import signal
import sys
import time

import sandbox
from sandbox import ROOT_DIR, SHARED, Server, mount, until
from state import State
from terminal import Terminal

EXPECTED = pathlib.Path(__file__).resolve().with_name("expected")
PORT_FILE = SHARED + "/var/run/debugserver"
GATE = "[ -p /gate ] && cat /gate\n"  # a fake command that waits here goes on after `held`
SHOWN = 4  # lines in a row that only the base state has; of more, the first and the last and their number
SCENARIOS = {}


def scenario(name, *arguments, **differs):
    assert name not in SCENARIOS, name
    SCENARIOS[name] = dict(differs, arguments=arguments)


def ok(body):
    return b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n%s" % (len(body), body)


def put_sources(box):
    """Every source with a file, whose text is its path."""
    for path in (EXPECTED / "machine").read_text().splitlines():
        box.put(path, path)


def put_earlier_output(box):
    for number in range(5):
        box.put("%s/old%d.zip" % (ROOT_DIR, number), "old", age=1000 + number)
    for path in ("/stray.txt", "/left/deep/x.log", "/logFiles/left/x.log", "/system_info.log", "/killed.zip.incomplete"):
        box.put(ROOT_DIR + path, "left over")


def zone(run):
    """A TZ where it is late in the evening, an hour earlier in each run, of a day whose number is not the month's."""
    now = time.time()
    east = 23 - run - time.gmtime(now).tm_hour
    there = time.gmtime(now + east * 3600)
    return "LCT%d" % (24 * (there.tm_mday == there.tm_mon) - east)


def quiet(box):
    """What the threads of all processes in the box have done so far, once all of them wait for something."""
    while True:
        seen = [switches(box), time.sleep(0.02), switches(box)]
        if seen[0] and seen[0] == seen[2]:
            return seen[0]


def switches(box):
    found = []
    for path in glob.glob("/proc/[0-9]*/task/*/status"):
        with contextlib.suppress(OSError):  # it has ended
            if os.readlink(path.split("/task")[0] + "/root") == box.root:
                with open(path) as file:
                    text = file.read()
                found.append(re.findall(r"^(?:State:\t\w|\w*voluntary.*)", text, re.MULTILINE))
    return found if all("State:\tR" not in one for one in found) else None


@contextlib.contextmanager
def held(box):
    """Waits until something has come to the gate, and lets it and all later ones go on afterwards."""
    def opened():
        with contextlib.suppress(OSError):
            return os.open(box.path("/gate"), os.O_WRONLY | os.O_NONBLOCK)

    gate = until(opened)
    quiet(box)
    yield
    os.unlink(box.path("/gate"))
    os.close(gate)


def play(arguments=(), bare=False, earlier=True, files=(), links=(), drive=None, make=None, fakes=(), console="ada", tool=None, answer=ok(b"module one\n"),
         port=0, terminal=False, then=(), meanwhile=None, fails=None, waits=0, env=(), user=None, **how):
    """Returns the state that one scenario leaves. What is not named here is for Box.start.

    bare: nothing of what the base machine has; earlier: the output of earlier runs, "again": before each run; files: path -> text, size, function(path), or None for none; links:
    path -> target; drive: bytes of a volume at /drive; make: called with the box, last. answer: the tunnel service's
    (see Server), a list has one for each run, None: no service. then: the arguments of each later run. meanwhile: called with the box and the
    process while something waits at the gate. terminal: standard error is one; env, user: a list has one for each run. fails: see sandbox.failing, a list has one for each run."""
    box = sandbox.Box(console, dict(fakes), tool or sandbox.TOOL)
    server = None if answer is None else Server(answer, port)
    screen = Terminal(160) if terminal else None
    try:
        if screen:
            box.bind("/dev/pts")
            how["shell"] = 'exec "$@" 2<>' + screen.name
        for wanted, put in (not bare, put_sources), (earlier and not bare, put_earlier_output):
            put(box) if wanted else None
        if server:
            box.put(PORT_FILE, str(server.port))
        for path, what in dict(files).items():
            if what is None:
                os.remove(box.path(path))
            elif callable(what):
                box.make(what, path)
            else:
                box.put(path, "" if isinstance(what, int) else what, size=what if isinstance(what, int) else None)
        for path, target in dict(links).items():
            box.link(target, path)
        if drive:
            os.mkdir(box.path("/drive"))
            mount("tmpfs", box.path("/drive"), "tmpfs", 0, "size=%d" % drive)
        if make:
            make(box)
        os.mkfifo(box.path("/gate"))
        if fails:
            fails = fails if isinstance(fails, list) else [fails]
            box.bind(sandbox.FAILING_CALLS, "/fakes/failing_calls.so")
        for each in fails, answer, env, user:
            then = then or [arguments] * (len(each) - 1 if isinstance(each, list) else 0)
        state = State(box, server and server.port, waits)
        with open(box.path("/stdout"), "ab") as out, open(box.path("/stderr"), "ab") as err:
            for run, words in enumerate([arguments, *then]):
                environment = {"TZ": zone(run), **dict(env[run] if isinstance(env, list) else env), **(sandbox.failing(*fails[run]) if fails and run < len(fails) else {})}
                if earlier == "again":
                    put_earlier_output(box)
                state.begin(environment["TZ"])
                process, *_ = box.start(*words, files=(out, err), env=environment, user=user[run] if isinstance(user, list) else user, **how)
                if meanwhile:
                    with held(box):
                        meanwhile(box, process)
                    meanwhile = None
                state.ran(process.wait(), "" if not fails or run >= len(fails) else "; %s of %s failed: %s" % fails[run][:3], server.requests[run:] if server else (),
                          screen.rest() if screen else ())
        state.paths()
        return state.sections
    finally:
        if server:
            server.shutdown()
            server.server_close()
        if screen:
            screen.close()
        box.close()


def difference(base, state):
    """What differs from the base state, by sections; those of a second run are compared with the base state's too."""
    lines = []
    for title in sorted({*base, *state}, key=lambda title: (int("0" + re.sub(r"\D", "", title)), title)):
        before, after = base.get(re.sub(r" \d+$", "", title), []), state.get(title, [])
        found = []
        for kind, i1, i2, j1, j2 in difflib.SequenceMatcher(None, before, after, False).get_opcodes():
            if kind != "equal":
                gone = before[i1:i2]
                gone[1:-1] = ["(%d more)" % (len(gone) - 2)] if len(gone) > SHOWN else gone[1:-1]
                found += ["-" + line for line in gone] + ["+" + line for line in after[j1:j2]]
        lines += ["@@ " + title] * bool(found) + found
    return lines


def text_of(state):
    return [line for title, lines in sorted(state.items()) for line in ["## " + title, *lines]]


def state_of(lines):
    state = {}
    for line in lines:
        if line[:3] == "## ":
            section = state[line[3:]] = []
        else:
            section.append(line)
    return state


def check(name, approve):
    """Plays a scenario; returns what is not as expected, or writes it down as what is expected."""
    path, base = EXPECTED / name, EXPECTED / "base"
    state = play(**SCENARIOS[name])
    lines = text_of(state) if name == "base" else difference(state_of(base.read_text().splitlines()), state)
    wrong = [line for line in lines if "WRONG" in line]
    if approve:
        path.write_text("".join(line + "\n" for line in lines))
        return wrong
    known = path.read_text().splitlines() if path.exists() else []
    return list(difflib.unified_diff(known, lines, "expected/" + name, "now", n=1, lineterm="")) + wrong


def main(words):
    """words: see scenarios.py."""
    approve = "--approve" in words
    names = [word for word in words if word != "--approve"]
    sandbox.confine(str(EXPECTED) if approve else None)
    signal.signal(signal.SIGALRM, sandbox.give_up)
    if names and "/" in names[0]:
        part, parts = map(int, names[0].split("/"))
        names = sorted(name for name in SCENARIOS if not SCENARIOS[name].get("alone"))[part - 1::parts]
    one_user = pathlib.Path("/proc/self/uid_map").read_text().split()[2] == "1"
    failed = []
    for name in sorted(names or SCENARIOS, key=lambda name: name != "base"):
        if SCENARIOS[name].pop("second_user", False) and one_user:
            print(name + ": not played, there is no second user here")
            continue
        SCENARIOS[name].pop("alone", None)
        began = time.monotonic()
        found = check(name, approve)
        if approve:
            print("%-30s %.1f s" % (name, time.monotonic() - began), *found, sep="\n    ")
        elif found:
            failed.append(name)
            print("\n".join(found), flush=True)
            if "MUTATE_CONFINED" in os.environ:
                break
    if failed:
        sys.exit("not as expected: " + " ".join(failed))

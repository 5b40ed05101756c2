"""Writes down as text what runs have left: the box, each archive, the records of the own log, the commands that ran.

What differs from run to run gets a name in <>. What must hold in every run is checked here; a line with "WRONG" tells
that it does not, and is never as expected.
"""
import collections
import contextlib
import os
import pathlib
import re
import stat
import time
import zlib

import zip_walker
from sandbox import PROGRAMS, ROOT_DIR, at_rest, processes, until

SECTIONS = "alive archive commands paths records requests run stderr stdout terminal".split()
RECORD = re.compile(r"(?m)^\[([-\d]{10} [:\d]{8})(\.\d{3})\] \[(\w+)\] \[(\d+)\] \[LogCollectionTool:(\S+):[1-9]\d*\] ")
OWN_LOG = re.compile(r"(/oBrela/logs|/logFiles[^/]*(/logs/root)?)/LogColltionTool[^/]*log$")
ARCHIVE = re.compile(r"/oBrelaLog_2\.5[^/]*$")
NOT_SHOWN = {*PROGRAMS, *("/proc /dev /fakes /opt/tool/LogCollectionTool /started /stdout /stderr /gate "
                         "/etc/ld.so.cache").split()}
KINDS = {stat.S_IFDIR: "folder", stat.S_IFREG: "file", stat.S_IFLNK: "link", stat.S_IFIFO: "fifo",
         stat.S_IFSOCK: "socket"}
GROWING = "logs/root/LogColltionTool.log"  # root's own log, copied while it is written
WAITS = (20, 10, 5, 2, 1)  # seconds; see short_limits.cpp
SHORT, LONG, HUGE = 120, 6000, 1 << 24  # bytes that are shown in one line, in several, and not even summed up
DAY = "%Y-%m-%d %H:%M:%S"
VARIES = [(r"(?<=http reply failed, ec:).+", "<curl's words>"), (r"(LogCollectionTool:\w+):\d+\]", r"\1:<line>]"),
          (r"(?<=Error adding ').*(?=' to zip)", "<some entry>"), (r"\b\d+ s$", "<n> s"), (r"^\d+ s(?=  )", "<n> s"),
          (r"\b\d+\.\d MiB", "<n> MiB"), (r"\blogFiles\.(left-)?\d+\b", r"logFiles.\1<pid>"),
          (r" \[system:\d+\]", ""), (r"^/bin/chmod: ", "chmod: ")]  # as older and newer systems say it
STAMPS = (r"(?<!\d)20\d{12}\b", "%Y%m%d%H%M%S"), (r"\b20\d\d-\d\d-\d\d \d\d:\d\d:\d\d\b", DAY)
TUNNEL = re.compile("dumpXTunnelProc|getServicePort")  # the functions of one collector
OTHERS = "-- the other threads"


def sum_of(data):
    return "%d bytes, sum %d" % (len(data), zlib.crc32(data))


def content(data):
    """A file's bytes: in one line, or as lines below it when it is a short text, or summed up."""
    text = data[:LONG].decode(errors="surrogateescape")
    if len(data) <= SHORT and "\n" not in text:
        return " " + ascii(text)
    if len(data) <= LONG and re.sub(r"[\n\t]", "", text).isprintable():
        return "".join("\n    " + line for line in text.splitlines())
    return " " + sum_of(data)


class State:
    """What each run of a scenario has left, in sections; the titles of a second run's have a 2 at their end."""

    def __init__(self, box, waits):
        """waits: those of so many seconds and more are told."""
        self.box, self.waits, self.sections, self.packed, self.stamps, self.runs = box, waits, {}, set(), set(), 0

    def begin(self, zone):
        """To be called before each run; zone: the TZ that it gets."""
        self.runs += 1
        self.sections.update({self.title(name): [] for name in SECTIONS})
        for path in "/stdout", "/stderr", "/started":
            self.box.put(path, mode=0o666)
        if self.box.server:
            self.box.server.requests.clear()
        os.environ["TZ"] = zone
        time.tzset()
        self.before, self.began = self.snapshot(), time.time()

    def title(self, name):
        return name if self.runs == 1 else "%s %d" % (name, self.runs)

    def add(self, section, text):
        """Adds a text to a section, with names for what varies."""
        text = text.replace(self.box.root, "")
        for pattern, name in [*VARIES, (r"\b%s\b" % getattr(self.box.server, "port", "none"), "<port>")]:
            text = re.sub(pattern, name, text, flags=re.MULTILINE)
        for pattern, form in STAMPS:
            text = re.sub(pattern, lambda found: self.stamp(found[0], form), text)
        if section not in ("paths", "run"):
            text = re.sub(r"(?<![\w.])%s(?=$|[\s/.,'\"\])])" % re.escape(self.out), "<out>", text, flags=re.MULTILINE)
        self.sections[self.title(section)] += text.split("\n")

    def stamp(self, text, form):
        """The name of a time, which must lie within the run, or ten minutes before it, in the box's zone."""
        for name, shift in (("<now>", 0), ("<ten minutes ago>", 600)):
            if int(self.began) <= time.mktime(time.strptime(text, form)) + shift <= self.ended:
                self.stamps.add(text)
                return name
        return "<earlier>" if text in self.stamps else "WRONG time " + text

    def snapshot(self):
        """Every path of the box's own: its line in `paths`, and what tells that it was touched. Reads the own logs."""
        found, self.logs = {}, {}
        for folder, folders, names in os.walk(self.box.root):
            inside = folder[len(self.box.root):] + "/"
            folders[:], names = ([name for name in some if inside + name not in NOT_SHOWN] for some in (folders, names))
            for path in (inside + name for name in folders + names):
                info = os.lstat(self.box.path(path))
                kind = KINDS.get(stat.S_IFMT(info.st_mode), "device")
                text = "%04o %d %s " % (info.st_mode & 0o7777, info.st_uid, kind) + ascii(path)[1:-1]
                if kind == "link":
                    text += " -> " + os.readlink(self.box.path(path))
                if info.st_nlink > 1 and kind == "file":
                    text += ", %d names" % info.st_nlink
                if kind == "file" and OWN_LOG.search(path):
                    self.logs.update({} if "/logFiles" in path else {path: self.box.read(path)})
                elif kind == "file" and not ARCHIVE.search(path):
                    text += " %d bytes" % info.st_size if info.st_size > HUGE else content(self.box.read(path))
                found[path] = text, kind == "folder" or (info.st_ino, info.st_mtime_ns, info.st_size)
        return found

    def paths(self, before, after):
        """Every path that the run has made, changed or removed; of a removed folder, how many were below it."""
        gone = before.keys() - after.keys()
        for path in sorted({*before, *after}):
            (old, known), (new, now) = before.get(path, ("", 0)), after.get(path, ("", 0))
            if not old:
                self.add("paths", "made: " + new)
            elif new and (old, known) != (new, now):
                self.add("paths", "changed: " + new + ("\n    it was: " + old) * (new != old))
            elif not new and os.path.dirname(path) not in gone:
                below = sum(one.startswith(path + "/") for one in gone)
                self.add("paths", "removed: " + old + ", with %d below" % below * bool(below))

    def archive(self, path):
        if not os.path.getsize(self.box.path(path)):
            return self.add("archive", path + " is empty")
        entries, whole = zip_walker.walk(self.box.path(path))
        usual = max((entry[3] for entry in entries), key=[entry[3] for entry in entries].count, default=[])
        self.add("archive", "\n".join([path, *whole, "each entry: " + "; ".join(usual)]))
        for name, data, size, traits in sorted(entries, key=lambda entry: entry[0]):
            if name == GROWING:  # with -k only if no second has begun since the run's start
                continue
            told = " %d bytes" % size if data is None else content(data)
            if name == GROWING.split("/")[-1]:
                told = self.beginning_of_log(data) or told
            elif "/LogColltionTool" in name:
                told = " has grown meanwhile"
            self.add("archive", ascii(name)[1:-1] + told + ("\n  but: " + "; ".join(traits)) * (traits != usual))

    def beginning_of_log(self, data):
        for log in self.logs.values():
            if log.startswith(data):
                following = RECORD.search(log[len(data):].decode(errors="replace"))
                of_main = following and following[5] == "main"
                return " is the own log up to %s record" % ("main's next" if of_main else "some")

    def records(self, text, whole):
        """Each thread's records; main's tell where the others' lie. The threads of the two collectors that have one for
        each source are shown as one. Not whole: of a run that was killed, only what is written at once."""
        before, *parts = RECORD.split(text)
        group, lines, last = {}, collections.defaultdict(list), {}
        for second, part, level, thread, function, message in zip(*[iter(parts)] * 6):
            if GROWING.split("/")[-1] + ") will ignore" in message:
                continue
            group.setdefault(thread, "main" if not group or function == "main" else
                             thread if re.match("collectSystem|cmdPopen", function) else
                             "tunnel" if TUNNEL.match(function) or message.startswith("begin dump") else "collect")
            here = group[thread]
            if here != "main" and lines["main"][-1:] != [OTHERS]:
                lines["main"].append(OTHERS)
            at = time.mktime(time.strptime(second, DAY)) + float(part)
            since = at - last.get(here, self.began - 0.001)
            last[here] = at
            wrong = "" if since >= 0 and at <= self.ended else "WRONG time %s " % second
            waited = max((limit for limit in WAITS if since >= 0.9 * limit - 0.05), default=0)  # whole seconds count
            if len(message) > SHORT * 10:
                message = message[:60] + "... " + sum_of(message.encode(errors="surrogateescape")) + "\n"
            told = wrong + "(+%d s) " % waited * (waited >= self.waits)
            lines[here].append(told + "%s %s: %s" % (level, function, ascii(message[:-1])[1:-1]))
        main = lines.pop("main", [])
        if not whole:
            urgent = [line for some in [main, *lines.values()] for line in some if line.startswith(("warn", "err"))]
            main, lines = sorted(urgent), {}
        blocks = ["\n".join(some) for some in ([*before.splitlines(), *main], *sorted(lines.values()))]
        self.add("records", "\n\n".join(blocks))

    def commands(self):
        """Each command that the tool started, those for the same file in their order; false when there was none."""
        groups = collections.defaultdict(list)
        for record in self.box.read("/started").decode(errors="surrogateescape").split("\036")[:-1]:
            descriptors, status, limits, folder, *words = record.split("\037")
            line = " ".join(words[2:] if words[:2] == ["sh", "-c"] else ["WRONG", *words])
            descriptors = re.sub(r":\[.*| \(deleted\)|.* /proc/.*\n", "", descriptors)
            opened = sorted(descriptors.splitlines())
            report = opened.pop(3)[2:] if line.endswith(" >&3") and len(opened) > 3 else ""
            told = dict(re.findall(r"^(?:Max )?(\w.*?)(?:: *\t*| {2,})(\w+(?: +\w+)?)", status + limits, re.MULTILINE))
            told["SigIgn"] = "%016x" % (int(told["SigIgn"], 16) & ~0x180000000)  # glibc's own
            names = "open files", "file size", "core file size", "SigBlk", "SigIgn", "Umask"
            condition = ["%s %s" % (name, re.sub(" +", " to ", told[name])) for name in names]
            condition += ["session its own" if told["NSsid"] == told["NSpid"] else "session another's", folder]
            groups[report].append((line, "; ".join([", ".join(opened), *condition])))
        conditions = [condition for lines in groups.values() for _, condition in lines]
        usual = max(conditions, key=conditions.count, default="no commands")
        self.add("commands", "each has: " + usual)
        for report, lines in sorted(groups.items()):
            self.add("commands", "into %s:" % (report or "no report"))
            for line, condition in lines:
                self.add("commands", line + ("\n  but: " + condition) * (condition != usual))
        return bool(groups)

    def ran(self, status, seen=(), note=""):
        """Takes down what a run has left that has just ended; seen: lines of its terminal meanwhile; note: shown beside
        its status."""
        limit = time.monotonic() + 3  # what was killed ends a moment later
        until(lambda: at_rest(self.box.root) is not None or time.monotonic() > limit)
        self.ended, known = time.time(), [b"", *self.logs.values()]
        after = self.snapshot()
        made = sorted(path for path in after if ARCHIVE.search(path) and path not in self.packed)
        self.out = os.path.dirname((made or [ROOT_DIR + "/none"])[-1])
        self.packed.update(made)
        self.add("run", "status %s, <out> is %s%s" % (status, self.out, note))
        self.paths(self.before, after)
        for path in made:
            self.archive(path)
        for log in self.logs.values():  # one that was there before may bear another name now
            new = log[max(len(old) for old in known if log.startswith(old)):]
            if new:
                self.records(new.decode(errors="surrogateescape"), status >= 0)
        ran = self.commands()
        for process in processes(self.box.root):
            with contextlib.suppress(OSError):  # it has ended
                self.add("alive", pathlib.Path(process, "cmdline").read_text()[:-1].replace("\0", " "))
        for name in "stdout", "stderr":
            lines = self.box.read("/" + name).decode(errors="surrogateescape").splitlines()
            self.add(name, "\n".join(sorted(lines) if name == "stderr" and ran else lines))
        if self.box.screen:
            done = re.compile(r"\d+ s  (running logs|system information|tunnel dump) done$")  # in whatever order
            for lines in seen, self.box.screen.lines():
                self.add("terminal", "\n".join(sorted(lines, key=lambda line: (done.match(line) or ["", "~"])[1])))
            self.box.screen.screen.reset()
        for request in self.box.server.requests if self.box.server else ():
            lines = request.decode(errors="replace").splitlines()
            self.add("requests", "\n".join(sorted(lines, key=lambda line: (": " in line, line))))

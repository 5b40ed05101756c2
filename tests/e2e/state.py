"""Writes down as text what runs have left: the box, each archive, the records of the own log, the commands that ran.

What differs from run to run gets a name in <>. What must hold in every run is checked here; a line with "WRONG" tells that
it does not, and is never as expected.
"""
import collections
import glob
import os
import re
import stat
import subprocess
import time
import zipfile
import zlib

import zip_walker
from sandbox import PROGRAMS, ROOT_DIR, until

RECORD = re.compile(r"^\[([-\d]{10} [:\d]{8}\.\d{3})\] \[(\w+)\] \[(\d+)\] \[LogCollectionTool:(\S+):[1-9]\d*\] ", re.MULTILINE)
OWN_LOG = re.compile(r"(/oBrela/logs|/logFiles(/logs/root)?)/LogColltionTool[^/]*log$")
NOT_SHOWN = {"/proc", "/dev", "/fakes", "/opt", "/started", "/stdout", "/stderr", "/gate", "/trace", "/etc/ld.so.cache", *PROGRAMS}
KINDS = {stat.S_IFDIR: "folder", stat.S_IFREG: "file", stat.S_IFLNK: "link", stat.S_IFIFO: "fifo", stat.S_IFSOCK: "socket"}
GROWING = "logs/root/LogColltionTool.log"  # root's own log, copied while it is written
WAITS = (24, 12, 6, 2, 1)  # seconds; see short_limits.cpp
SHORT, LONG, HUGE = 120, 6000, 1 << 24  # bytes that are shown in one line, in several, and not even summed up
DAY = "%Y-%m-%d %H:%M:%S"
VARIES = ((r"(?<=http reply failed, ec:).+", "<curl's words>"), (r"LogCollectionTool:(\w+):\d+\]", r"LogCollectionTool:\1:<line>]"),
          (r"(?<=Error adding ').*(?=' to zip)", "<some entry>"), (r"\b\d+ s$", "<n> s"), (r"^\d+ s(?=  .* done$)", "<n> s"),
          (r"\b\d+\.\d MiB", "<n> MiB"), (r" \[system:\d+\]", ""), (r"^/bin/chmod: ", "chmod: "),  # as older and newer systems say it
          (r"\blogFiles\.(left-)?\d+\b", r"logFiles.\1<pid>"))
REPORTING, TUNNEL = re.compile("collectSystem|cmdPopen"), re.compile("Tunnel|ServicePort")  # functions of the other collectors


def sum_of(data):
    return "%d bytes, sum %d" % (len(data), zlib.crc32(data))


class State:
    """What each run of a scenario has left, in sections; the titles of a second run's have a 2 at their end."""

    def __init__(self, box, port, waits):
        """port: of the tunnel service; waits: those of so many seconds are told; 0: none."""
        self.box, self.waits, self.sections = box, waits, collections.defaultdict(list)
        self.varies = VARIES + ((r"\b%s\b" % (port or "none"), "<port>"),)
        self.logs, self.packed, self.stamps, self.runs, self.out = {}, {}, set(), 0, ROOT_DIR
        self.first = self.snapshot()

    def is_log(self, path):
        """Tells whether this is an own log, and no copy of one."""
        return OWN_LOG.search(path) and "/logFiles/" not in path

    def begin(self, zone):
        """To be called before each run; zone: the TZ that it gets."""
        self.logs = {path: self.box.read(path) for path, kind, _ in self.walk() if kind == "file" and self.is_log(path)}
        self.began = time.time()
        os.environ["TZ"] = zone
        time.tzset()

    def add(self, section, text):
        text = self.named(text)
        if section not in ("paths", "run"):
            text = text.replace(self.out, "<out>") if self.out != "/" else text
        if section != "paths":
            section += " %d" % self.runs if self.runs > 1 else ""
        self.sections[section] += text.split("\n")

    def named(self, text):
        """Replaces what varies; a stamp must lie within the run, or ten minutes before it, at the box's local time."""
        text = text.replace(self.box.root, "")
        for pattern, name in self.varies:
            text = re.sub(pattern, name, text, flags=re.MULTILINE)
        for pattern, form in ((r"(?<!\d)20\d{12}\b", "%Y%m%d%H%M%S"), (r"\b20\d\d-\d\d-\d\d \d\d:\d\d:\d\d\b", DAY)):
            text = re.sub(pattern, lambda found: self.stamp(found[0], form), text)
        return text

    def stamp(self, text, form):
        with_name = [name for name, shift in (("<now>", 0), ("<ten minutes ago>", 600))
                     if int(self.began) <= time.mktime(time.strptime(text, form)) + shift <= self.ended]
        if with_name:
            self.stamps.add(text)
        return with_name[0] if with_name else "<earlier>" if text in self.stamps else "WRONG time " + text

    def content(self, data):
        """A file's bytes: in one line, or as lines below it when it is a short text, or summed up."""
        for log in self.logs.values():
            if data and log.startswith(data):
                following = RECORD.search(log[len(data):].decode(errors="replace"))
                return " is the own log up to %s record" % ("main's next" if following and following[4] == "main" else "some")
        text = data.decode(errors="surrogateescape")
        if len(data) <= SHORT and "\n" not in text:
            return " " + ascii(text)
        if len(data) <= LONG and re.sub(r"[\n\t]", "", text).isprintable():
            return "".join("\n    " + line for line in text.splitlines())
        return " " + sum_of(data)

    def walk(self):
        """Every path that the box does not share with others, with its kind and its stat."""
        for folder, folders, names in os.walk(self.box.root):
            inside = folder[len(self.box.root):]
            here = [name for name in folders + names if inside + "/" + name not in NOT_SHOWN]
            folders[:] = [name for name in here if name in folders]
            for name in here:
                info = os.lstat(folder + "/" + name)
                yield inside + "/" + name, KINDS.get(stat.S_IFMT(info.st_mode), "device"), info

    def snapshot(self):
        """Every path with what a run may have changed: a text to be shown, and whether it has been touched."""
        found = {}
        for path, kind, info in self.walk():
            text = "%04o %d %s " % (info.st_mode & 0o7777, info.st_uid, kind) + self.packed.get(path, ascii(path)[1:-1])
            if kind == "file":
                text += ", %d names" % info.st_nlink if info.st_nlink > 1 else ""
                if info.st_size > HUGE and not OWN_LOG.search(path):
                    text += " %d bytes" % info.st_size
                elif path not in self.packed and not OWN_LOG.search(path):
                    text += self.content(self.box.read(path))
            elif kind == "link":
                text += " -> " + os.readlink(self.box.path(path))
            found[path] = text, kind == "folder" or (info.st_ino, info.st_mtime_ns, info.st_size)
        return found

    def paths(self):
        """Every path that the runs have made, changed or removed."""
        after = self.snapshot()
        for path in sorted({*self.first, *after}):
            old, new = self.first.get(path), after.get(path)
            if old != new:
                self.add("paths", "removed: " + old[0] if not new else "made: " + new[0] if not old else
                         "changed: %s" % new[0] + ("\n    it was: " + old[0]) * (new[0] != old[0]))
        self.add("paths", "all else is as it was")

    def archive(self, path):
        if not os.path.getsize(self.box.path(path)):
            return self.add("archive", path + " is empty")
        entries, traits = zip_walker.walk(self.box.read(path))
        usual = next(iter(collections.Counter(tuple(entry[3]) for entry in entries).most_common(1)), [()])[0]
        try:
            with zipfile.ZipFile(self.box.path(path)) as archive:
                python = archive.testzip()
        except zipfile.BadZipFile as failure:
            python = failure
        unzip = subprocess.run(["unzip", "-tqq", self.box.path(path)], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        self.add("archive", "\n".join([path, *traits, "for zipfile: %s" % (python or "whole"), "for unzip: %s" % (
            unzip.stdout.strip() or "whole"), "each entry: " + "; ".join(usual)]))
        for name, data, size, own in sorted(entries, key=lambda entry: entry[0]):
            if name == GROWING:  # with -k only if no second has begun since the run's start
                continue
            told = " %d bytes" % size if data is None else self.content(data)
            but = "" if tuple(own) == usual else "\n  but: " + "; ".join(own)
            self.add("archive", ascii(name)[1:-1] + (" has grown meanwhile" if "/LogColltionTool" in name else told + but))

    def records(self, text, whole):
        """Each thread's records, the threads by their first one; main's tell where the others' lie. What a collector waits
        for, on a thread for each source, is shown among its own. Not whole: of a run that was killed, only what is
        written at once."""
        before, *parts = RECORD.split(text)
        threads, order, waiting = collections.defaultdict(list), [], {}
        records = [record for record in zip(*[iter(parts)] * 5) if GROWING.split("/")[-1] + ") will ignore" not in record[4]]
        functions = {thread: function for _, _, thread, function, _ in reversed(records)}  # of each thread's first record
        for _, _, thread, _, message in records:
            waiting.update({word: thread for word in ("dump", "collect") if message.startswith("begin %s " % word)})
        for stamp, level, thread, function, message in records:
            if thread not in {records[0][2], *waiting.values()} and not REPORTING.match(functions[thread]):
                thread = waiting.get("dump" if TUNNEL.search(functions[thread]) else "collect", thread)
            at = time.mktime(time.strptime(stamp[:19], DAY)) + float(stamp[19:])
            before_it = threads[thread][-1][0] if threads[thread] else self.began - 0.001
            wrong = "" if before_it <= at <= self.ended else "WRONG time %s " % stamp
            since = at - before_it if self.waits else 0
            gap = next(("(+%d s) " % limit for limit in WAITS if limit >= self.waits and since >= 0.9 * limit - 0.05), "")  # the tool counts in whole seconds
            if len(message) > SHORT * 10:
                message = message[:60] + "... " + sum_of(message.encode(errors="surrogateescape")) + "\n"
            threads[thread].append((at, wrong + gap + "%s %s: %s" % (level, function, ascii(message[:-1])[1:-1])))
            order.append(thread)
        main = threads.pop(order[0], []) if order else []
        others = [at for at, thread in enumerate(order) if thread != order[0]]
        if others:
            inside = order[others[0]:others[-1]].count(order[0])
            main.insert(others[0], (0, "-- the other threads" + (": WRONG, %d of main's are among theirs" % inside if inside else "")))
        if not whole:
            main, threads = sorted(line for lines in [main, *threads.values()] for line in lines if line[1][:4] in ("warn", "erro")), {}
        for lines in [main] + sorted(threads.values(), key=lambda lines: [line for _, line in lines]):
            self.add("records", "\n".join([*before.splitlines(), *(line for _, line in lines), ""]))
            before = ""

    def commands(self):
        """Each command that the tool started, those for the same file in their order; false when there was none."""
        groups, record = collections.defaultdict(list), self.box.read("/started").decode(errors="surrogateescape")
        self.box.put("/started", mode=0o666)
        for record in record.split("\x1f\n\x1f")[:-1]:
            _, condition, *words = record.split("\x1f")
            line = " ".join(words[2:] if words[:2] == ["sh", "-c"] else ["WRONG"] + words)
            report = re.search(", 3 ([^,;]*)", condition) if line.endswith(" >&3") else None
            groups[report[1] if report else ""].append((line, condition.replace(report[0], "") if report else condition))
        usual = collections.Counter(how for lines in groups.values() for _, how in lines).most_common(1)
        self.add("commands", "each has: " + usual[0][0] if usual else "none")
        for target in sorted(groups):
            self.add("commands", "into %s:" % target if target else "into no report:")
            for line, condition in groups[target]:
                self.add("commands", line + ("" if condition == usual[0][0] else "\n  but: " + condition))
        return bool(groups)

    def alive(self):
        found = []
        for root in glob.glob("/proc/[0-9]*/root"):
            try:
                if os.readlink(root) == self.box.root:
                    with open(os.path.dirname(root) + "/cmdline", "rb") as file:
                        found.append(file.read().rstrip(b"\0").replace(b"\0", b" ").decode())
            except OSError:  # it has ended
                pass
        return sorted(name for name in found if name)

    def ran(self, status, note="", requests=(), screen=()):
        """Takes down what a run has left that has just ended; the note is shown beside its status."""
        limit = time.monotonic() + 3  # what was killed ends a moment later
        until(lambda: not self.alive() or time.monotonic() > limit)
        self.ended, self.runs = time.time(), self.runs + 1
        files, known, records = sorted(path for path, kind, _ in self.walk() if kind == "file"), [b"", *self.logs.values()], []
        self.logs = {path: self.box.read(path) for path in files if self.is_log(path)}
        for log in self.logs.values():  # one that was there before may bear another name now
            records.append(log[max(len(old) for old in known if log.startswith(old)):])
        made = [path for path in files if re.search(r"/oBrelaLog_2\.5[^/]*$", path) and path not in self.packed]
        self.out = os.path.dirname((made or [ROOT_DIR + "/none"])[-1])
        self.add("run", "status %s, <out> is %s%s" % (status, self.out, note))
        for path in made:
            self.packed[path] = self.named(path)
            self.archive(path)
        for log in filter(None, records):
            self.records(log.decode(errors="surrogateescape"), status >= 0)
        ran = self.commands()
        self.add("alive", "\n".join(self.alive()))
        for name in "stdout", "stderr":
            lines = self.box.read("/" + name).decode(errors="surrogateescape").splitlines()
            lines = [line for line in lines if "LD_PRELOAD" not in line]  # outside the box there is no such file
            self.add(name, "\n".join(sorted(lines) if name == "stderr" and ran else lines))
            os.truncate(self.box.path("/" + name), 0)
        done = re.compile(r"\d+ s  (running logs|system information|tunnel dump) done$")  # in whatever order
        self.add("terminal", "\n".join(sorted(screen, key=lambda line: (done.match(line) or ["", "~"])[1])))
        for request in requests:
            self.add("requests", "\n".join(sorted(request.decode(errors="replace").splitlines(), key=lambda line: (": " in line, line))))

"""Measures this project beside its peers, in one run and interleaved, and writes what came out. See bench/run."""
import argparse
import collections
import hashlib
import os
import platform
import shutil
import statistics
import subprocess
import tempfile
import zipfile

import corpus

Sample = collections.namedtuple("Sample", "wall cpu peak")  # seconds, seconds, MiB
FOREIGN_SHARE, TRIES = 0.03, 3
GROWTH = (1, 4, 16)
PACK, PACK_ONE, COPY, WHOLE = "packing, all threads", "packing, one thread", "copying (copyDir)", "whole run, --quiet"
CP, ZLIB, MINIZIP, ZIP = "cp -R", "bare zlib", "plain minizip", "zip -9 -r"
PIGZ, STORE = "pigz -9, all threads, one file", "packing without deflating"
LOPSIDED = {"one file": 0.55, "one file of 80 %": 0.55, "tiny files": 0.75}  # trees, and the most of one thread's time
CORES = (2, 4, 8, 16)
BSDTAR, SEVEN_ONE, SEVEN_ALL = "bsdtar", "7zz -tzip, one thread", "7zz -tzip, all threads"

INTRO = """# Performance

Written by `./dev bench`; do not edit. Ratios compare well between machines, times do not.

A made-up tree like that of a Mac with the client on it (text logs, JSON, databases, crash dumps, thousands of small
files; the same bytes for the same size and seed) is packed, copied and collected by this project and by its peers. They
run in turn, round after round, each round beginning with another one and every other round backwards. Each is a process of its own, and all files are
in memory (on macOS in a temporary folder), so that no disk hides what a program costs. A measurement during which other
programs took more than 3 % of the machine is taken again, twice at most. Wall times include a process's start; CPU
time and peak memory are what the system tells of the process and its children.

- *Packing* is the zip writer at level 9, *copying* is `copyDir` with the selection by extension. Each run makes sure
  that the archive is the same byte for byte with one thread and with all.
- *Plain minizip* is the least loop around that library, *bare zlib* throws its output away: with this deflate no
  program can be quicker on one thread. `zip`, `bsdtar` and these two work at level 9, `7zz` at its own default, for a
  higher one takes it several times as long.
- A *whole run* is `LogCollectionTool --quiet` in a root folder of its own: the tree is in the places where the tool
  looks, and commands answer at once. The tool copies, reports, packs and cleans up.
- *Growth*: a tree of a sixteenth of the size, then 4 and 16 copies of it (the files), then each of its files made 4 and
  16 times as long (the bytes).
- Trees that are hard to share out: *one file*, a crash dump of half the size, also packed by `pigz -9` with all threads;
  *one file of 80 %* of the bytes beside the usual tree; *tiny files*, 100,000 of 200 bytes at the usual size.
- The tree decides: where crash dumps hold pointers that never come again, level 9 deflates 5 MB a second for everybody,
  and `7zz`, at its quicker default, is ahead of where it is here (once measured so: 0.735 instead of the ratio below).

## Ratios

Of wall times: the median of all rounds' ratios, the least and the greatest. The first peer is the quickest of those on
one thread, the one beside the second whole run the quickest of all.
"""


def busy_seconds():
    """CPU seconds that this machine has spent so far; nothing where the system does not tell."""
    if not os.path.exists("/proc/stat"):
        return 0
    with open("/proc/stat", encoding="ascii") as file:
        ticks = [int(word) for word in file.readline().split()[1:9]]
    return (sum(ticks) - ticks[3] - ticks[4]) / os.sysconf("SC_CLK_TCK")


class Contest:
    """Named commands, each run once a round."""

    def __init__(self, programs):
        self.programs, self.box, self.left_out, self.disturbed = programs, None, [], 0
        self.entries, self.samples, self.sizes, self.digests = [], collections.defaultdict(list), {}, {}

    def add(self, name, command, output, tree="tree"):
        """A command that makes `output` (None: nothing) of the tree."""
        if shutil.which(command[0]):
            self.entries.append((name, command, output, tree))
        else:
            self.left_out.append("%s (no %s here)" % (name, command[0]))

    def ours(self, name, job, *options, output="out.zip", tree="tree"):
        words = [job, *options, output, tree] if output == "out.zip" else [job, tree] + [output] * bool(output)
        self.add(name, [os.path.join(self.programs, "contestants"), *words], output, tree)

    def whole(self, name, tree="tree"):
        if self.box:
            self.entries.append((name, self.box.command, self.box, tree))

    def run(self, rounds):
        for number in range(rounds):
            first = number % len(self.entries)
            # A program finds the memory as the one before has left it: every other round runs backwards.
            for entry in (self.entries[first:] + self.entries[:first])[::-1 if number % 2 else 1]:
                self.samples[entry[0]].append(self.sample(*entry))
            print("round %d of %d done" % (number + 1, rounds), flush=True)

    def sample(self, name, command, output, tree):
        for left in reversed(range(TRIES)):
            if output and output is self.box:
                self.box.show(tree)
            before = busy_seconds()
            done = subprocess.run([os.path.join(self.programs, "measure"), *command], capture_output=True, check=True)
            after = busy_seconds()
            wall, cpu, peak, status = map(float, done.stdout.split())
            if status != 0:
                raise SystemExit("%s failed: %s" % (name, done.stderr.decode()))
            self.tidy(name, output, tree)
            if after - before - cpu <= FOREIGN_SHARE * (wall * os.cpu_count() + 1):
                break
            self.disturbed += left == 0
        return Sample(wall, cpu, peak / 1024)

    def tidy(self, name, output, tree):
        """Removes the output; the first time an archive is checked."""
        archive = self.box.archive() if output and output is self.box else output
        if archive and archive.endswith(".zip") and name not in self.sizes:
            with zipfile.ZipFile(archive) as entries:
                if sum(not entry.is_dir() for entry in entries.infolist()) < corpus.size(tree)[0]:
                    raise SystemExit("%s has left out files" % name)
            self.sizes[name] = os.path.getsize(archive)
            with open(archive, "rb") as file:
                self.digests[name] = hashlib.sha256(file.read()).digest()
        if output and output is self.box:
            self.box.clean()
        elif output:
            (shutil.rmtree if os.path.isdir(output) else os.remove)(output)

    def times(self, *names):
        """Wall times of these, one after the other, by round."""
        return [sum(run.wall for run in runs) for runs in zip(*(self.samples[name] for name in names))]

    def quickest(self, *names):
        return min((n for n in names if n in self.samples), key=lambda n: statistics.median(self.times(n)))


def enter(contest, size, seed):
    threads = str(os.cpu_count())
    contest.ours(PACK, "pack", threads)
    contest.ours(PACK_ONE, "pack", "1")
    contest.ours(MINIZIP, "minizip")
    contest.ours(ZLIB, "zlib", output=None)
    contest.add(ZIP, ["zip", "-q", "-9", "-r", "out.zip", "tree"], "out.zip")
    contest.add(BSDTAR, "bsdtar --format zip --options zip:compression-level=9 -cf out.zip tree".split(), "out.zip")
    contest.add(SEVEN_ONE, "7zz a -tzip -mmt=1 out.zip tree".split(), "out.zip")
    contest.add(SEVEN_ALL, "7zz a -tzip -mmt=on out.zip tree".split(), "out.zip")
    contest.ours(COPY, "copy", output="copy")
    contest.add(CP, "cp -R tree copy".split(), "copy")
    contest.whole(WHOLE)
    corpus.write_file("one file/big.dmp", "dump", int(size * 0.54e6), seed)
    corpus.write_file("one file of 80 %/big.dmp", "dump", int(size * 0.8e6), seed)
    corpus.write("one file of 80 %/rest", size * 0.2, seed)
    for number in range(int(size / 224 * 100_000)):
        corpus.write_file("tiny files/%d/%d.log" % (number // 1000, number), "text", 200, number)
    for tree in LOPSIDED:
        contest.ours("%s, %s" % (PACK, tree), "pack", threads, tree=tree)
        contest.ours("%s, %s" % (PACK_ONE, tree), "pack", "1", tree=tree)
    contest.add(PIGZ, ["pigz", "-9", "-k", "-p", threads, "one file/big.dmp"], "one file/big.dmp.gz", "one file")
    contest.ours(STORE, "store")
    inside = "Library/Application Support/oBrela/Crash"  # the tool takes everything below
    for times in GROWTH:
        files, longer = ("%d× the %s" % (times, kind) for kind in ("files", "bytes"))
        corpus.write(os.path.join(longer, inside, "0"), size / 16, seed, times)
        for copy in range(times):
            shutil.copytree("1× the bytes", os.path.join(files, inside, str(copy)))
        for tree in (files, longer):
            contest.ours("%s, %s" % (PACK, tree), "pack", threads, tree=tree)
            contest.ours("%s, %s" % (COPY, tree), "copy", output="copy", tree=tree)
            contest.whole("%s, %s" % (WHOLE, tree), tree)


def ratio_rows(contest):
    """What is compared, its ratios by round, and the most that is good enough (None: no such bound)."""
    has = contest.samples.__contains__
    one = contest.quickest(MINIZIP, ZIP, BSDTAR, SEVEN_ONE)
    rows = [(["%s, %s" % (PACK, tree)], ["%s, %s" % (PACK_ONE, tree)], most) for tree, most in LOPSIDED.items()]
    rows += [(["%s, one file" % PACK], [PIGZ], 1.08), ([PACK], [one], 0.55), ([PACK], [SEVEN_ALL], 0.60), ([PACK], [ZLIB], None), ([PACK_ONE], [ZLIB], None),
            ([COPY], [CP], 1.05), ([COPY, PACK_ONE], [CP, MINIZIP], 1.05), ([WHOLE], [CP, ZIP], 0.70),
             ([WHOLE], [CP, contest.quickest(one, SEVEN_ALL)], None)]
    for kind in ("files", "bytes"):
        for name in (PACK, COPY, WHOLE):
            once, *more = ("%s, %d× the %s" % (name, times, kind) for times in GROWTH)
            rows += [([grown], [once], most) for grown, most in zip(more, (None, 17 if kind == "files" else None))]
    for ours, theirs, most in rows:
        if all(map(has, ours + theirs)):
            ratios = [one / other for one, other in zip(contest.times(*ours), contest.times(*theirs))]
            yield " + ".join(ours) + " : " + " + ".join(theirs), ratios, most
    for peer, most in ((MINIZIP, 1.0005), (ZIP, 1.005)):
        if has(peer):
            yield "archive of %s : archive of %s" % (PACK, peer), [contest.sizes[PACK] / contest.sizes[peer]], most


def spread(values):
    if len(values) == 1:
        return "%.4f" % values[0]
    return "%.3f (%.3f–%.3f)" % (statistics.median(values), min(values), max(values))


def report(contest, options):
    def verdict(value, most):
        return "" if most is None else "reached" if value <= most else "**missed**"
    yield INTRO
    yield "| what | ratio | at most | |\n|---|---|---|---|"
    for label, ratios, most in ratio_rows(contest):
        yield "| %s | %s | %s | %s |" % (label, spread(ratios), most or "", verdict(statistics.median(ratios), most))
    peaks = {name: max(run.peak for run in runs) for name, runs in contest.samples.items()}
    for label, names, most in (("one thread", (COPY, PACK_ONE), 32), ("all threads, whole runs", (PACK, WHOLE), 64)):
        peak = max(peaks[name] for name in peaks if name.startswith(names))
        yield "| peak memory, %s | %.1f MiB | %d MiB | %s |" % (label, peak, most, verdict(peak, most))
    alone, whole = (statistics.median(run.cpu for run in contest.samples[name]) for name in (STORE, PACK_ONE))
    yield ("\n## More cores: a projection\n\nOnly one thread lists, reads and writes. Packing without deflating spends %.2f s of CPU time on "
           "that (and writes more), packing with one thread %.2f s in all. If the rest is shared out evenly, packing takes %s of "
           "one thread's time. Calculated, not measured." % (alone, whole, ", ".join(
               "%.3f with %d cores" % (alone / whole + (1 - alone / whole) / cores, cores) for cores in CORES)))
    yield "\n## Times\n\n| what | wall time, s | user and system time, s | peak memory, MiB | archive, bytes |"
    yield "|---|---|---|---|---|"
    for name, runs in sorted(contest.samples.items(), key=lambda item: [e[0] for e in contest.entries].index(item[0])):
        yield "| %s | %s | %.2f | %.1f | %s |" % (name, spread([run.wall for run in runs]), statistics.median(
            run.cpu for run in runs), peaks[name], contest.sizes.get(name, ""))
    yield "\n## This run\n\n- Machine: %s %s, %d cores, %.0f GiB of memory." % (
        platform.system(), platform.machine(), os.cpu_count(),
        os.sysconf("SC_PAGE_SIZE") * os.sysconf("SC_PHYS_PAGES") / 2**30)
    yield "- Tree: %d files of %d bytes in all (--size %g --seed %d); %d rounds." % (
        *corpus.size("tree"), options.size, options.seed, options.rounds)
    yield "- Disturbed to the last try: %d of %d measurements." % (
        contest.disturbed, sum(map(len, contest.samples.values())))
    yield "- Left out: %s." % ("; ".join(contest.left_out) or "nothing")
    for command, line in (("cp --version", 0), ("zip -v", 1), ("pigz --version", 0), ("bsdtar --version", 0), ("7zz", 1)):
        if shutil.which(command.split()[0]):
            text = subprocess.run(command.split(), capture_output=True, text=True, check=False).stdout
            yield "- Peer: %s" % " ".join((text + "\n\n").split("\n")[line].split() or ["the system's " + command])


def main():
    parser = argparse.ArgumentParser(prog="bench/run")
    parser.add_argument("build", help=argparse.SUPPRESS)
    parser.add_argument("report", help=argparse.SUPPRESS)
    parser.add_argument("--size", type=float, default=224, metavar="MB", help="of the tree (%(default)s)")
    parser.add_argument("--seed", type=int, default=1, metavar="N", help="other bytes for another one (%(default)s)")
    parser.add_argument("--rounds", type=int, default=5, metavar="N", help="measurements of each (%(default)s)")
    options = parser.parse_args()
    build, target = os.path.abspath(options.build), os.path.abspath(options.report)
    contest = Contest(os.path.join(build, "bench"))
    with tempfile.TemporaryDirectory() as work:
        os.chdir(work)
        if platform.system() == "Linux":
            from box import Box
            contest.box = Box(os.path.join(work, "box"), os.path.join(build, "LogCollectionTool"))
        else:
            contest.left_out.append("whole runs (only Linux can give the tool a machine of its own)")
        corpus.write("tree", options.size, options.seed)
        enter(contest, options.size, options.seed)
        contest.run(options.rounds)
        if contest.digests[PACK] != contest.digests[PACK_ONE]:
            raise SystemExit("the number of threads has changed the archive")
        text = "\n".join(report(contest, options)) + "\n"
        os.chdir("/")
        if contest.box:
            contest.box.close()
    with open(target, "w", encoding="utf-8") as file:
        file.write(text)
    print(text)


if __name__ == "__main__":
    main()

"""Writes docs/reliability.md; with --check, tells whether it is up to date.

Each row below names what shows it: scenarios of tests/e2e/scenarios.py, or test_FILE.py: TEST. They must exist.
"""
import pathlib
import re
import sys

HERE = pathlib.Path(__file__).resolve().parent
TESTS = HERE.parent / "tests" / "e2e"
PAGE = HERE / "reliability.md"
HEAD = """# What the tool survives

Made by docs/reliability-table.py; edit that. Each scenario and test named here runs the real program in namespaces of its own. A
scenario (tests/e2e/scenarios.py) compares all that a run leaves with what is expected, which is in tests/e2e/expected under its name.

## Faults that the tests provoke

| Fault | What happens | Shown by |
|---|---|---|
"""
FAULTS = [
    ("Links that somebody else planted: default root, scratch folder and folders in it, reports, own log, folders above it", "the tool replaces each by a file or folder of its own, or leaves out what would have gone there; what the links lead to keeps its content and mode, and none of it is in the archive", "links-for-root links-for-ada scratch-exchanged"),
    ("While root runs the tool, a local user renames, links and plants as much as they can", "in 20 runs for each phase nothing of anybody else's is deleted, changed or read, and each run ends with an archive of root's own files", "test_attack.py: test_clean_up test_attack.py: test_while_copying test_attack.py: test_reports_and_archive test_attack.py: test_own_log test_attack.py: test_sources"),
    ("Links in sources, and above them", "links of root or the caller are followed, and those whose owner owns what they lead to; for any other there is a record, and what it leads to is not in the archive", "links-in-sources"),
    ("What others put into the scratch folder; hard links that are made to a report meanwhile", "only the caller's files with a single name are packed; for the others there is a record", "dropped-into-scratch"),
    ("--dir names a folder that holds what is collected, the tool, its log or the home of any user, by any spelling", "the default is used, a warning says why, nothing in the folder changes", "dir-not-to-be-emptied"),
    ("--dir names a sticky folder, or one below which something is mounted", "only what has one of the tool's own names is removed there", "dir-of-others"),
    ("--dir names a folder that may be entered and written to, but not listed", "a whole archive; a record tells that it cannot be listed", "dir-of-others"),
    ("Root's run is killed; then a user's run finds what it left, also where it cannot be moved", "all that the user's run has copied is in its archive, and nothing that was there before; a record names what stays", "user-after-root"),
    ("A source that does not answer; a home with the own log that does not", "a source is given up when nothing has moved for 30 seconds, and so are that user's other sources; the log's set-up after ten, and its records go to standard error; everything else is in the archive, and records say so", "source-does-not-answer home-does-not-answer"),
    ("Nobody reads standard error, and the own log cannot be written", "it is not waited for longer than a second", "streams"),
    ("The caller's own limit for the size of files", "copies and reports end there, each with a record; the rest is in the archive", "floods"),
    ("The output folder cannot be listed to its end, an archive in it or another entry cannot be looked at, leftovers cannot be removed", "while the folder cannot be read completely, all archives stay and a record says so; otherwise the four newest stay", "housekeeping-fails"),
    ("Sources that cannot be opened, looked at, listed or read; copies that cannot be made, written or closed; room that cannot be asked for", "a record names the path, the number and the text of the error, and another how many more there were; everything else is in the archive, and so is what could be read", "copying-fails"),
    ("Any single call of the C library fails, for any path that the tool uses", "if the run leaves something else than usual, a record says so", "test_sweep.py: test_what_one_failing_call_costs_is_told"),
    ("A call fails while the archive is written: on its file, or on the copies", "the archive is whole; or its name ends in \".incomplete\", and the log says why", "packing-fails"),
    ("Copies vanish or shrink before they are packed", "what is left of them is in the archive", "packing-fails"),
    ("A file larger than the room that packing needs, or that would take the volume's last 100 MiB", "it is left out and named", "little-room"),
    ("A volume that fills up to the last byte while files are copied", "exit status 0, no archive; the own log, on another volume, says why", "little-room"),
    ("No shell can be started; no pipe can be made", "every command is reported as failed, the archive has all files", "no-shell"),
    ("No more processes and threads, file descriptors or memory", "if its three workers cannot be started, the run ends abnormally and leaves no archive; otherwise it ends with 0, and its archive, if there is one, is whole; 24 descriptors and 8 MB are enough for all files", "test_limits.py: test_what_runs_out"),
    ("Much data, many files, deep trees, long paths, little memory", "all that fits into the scratch folder by the length of its path is in the archive, the rest is named; at most 32 MiB of memory", "test_limits.py: test_much_data_and_little_memory"),
    ("Commands that print for ever", "each report ends at an eighth of the free room (1 GiB at most), with a record; everything else is in the archive; at most 32 MiB of memory", "floods test_limits.py: test_much_data_and_little_memory"),
    ("Odd time zone, unknown locale; a home that is gone, an unknown user", "a whole archive with 14 digits in its name; if there is no place for the own log, its records go to standard error", "odd-zones-and-locales homes"),
    ("The own log is as large as it may get; it cannot be renamed, made or looked at", "it is kept beside the new one, which holds the whole run; if it cannot be renamed, the run is added to it; if it cannot be opened, the records go to standard error", "own-log"),
    ("Commands that read their standard input; a tool that is started with signals ignored, or that has inherited a child", "the commands get /dev/null, their report and standard error, and no signal is ignored or blocked; an ignored signal ends nothing; the child is still there after the run", "inherited"),
    ("SIGTERM, SIGINT, SIGHUP, SIGQUIT or SIGKILL in each phase, and any other signal that ends programs", "the run ends by the signal; except after SIGKILL its commands end with it, and its copies are removed; every warning is in the log; no incomplete archive has an archive's name; the next run removes the remains and makes its own archive", "ends ends-in-reports ends-while-packing"),
    ("A login service that does not answer; a command that outlives its limit, ignores SIGTERM and has started others", "after five seconds nobody counts as logged in, and root's files are in the archive; when the run ends, it kills the command and all that it has started", "all-else-hangs"),
]
KNOWN = """
## What users of such tools complain of

| Complaint | Here | Shown by |
|---|---|---|
"""
COMPLAINTS = [
    ("One stuck command loses the whole report", "every wait has a limit; the archive is made without the missing piece", "reports-and-peer-hang"),
    ("A grandchild keeps the pipe open and the reader waits for ever", "the reader is a detached thread; the process ends while it reads, and kills the commands", "all-else-hangs"),
    ("A FIFO in the tree blocks the copy", "only regular files are opened, and opening never blocks", "special-files"),
    ("One bad file aborts the rest", "a file or folder that fails is left out, with a record; the rest is collected", "copying-fails"),
    ("A file grows or shrinks meanwhile and the archive is corrupt", "the tool packs its own copy, which is never longer than the file was when it was opened", "sources-change"),
    ("Success is announced although the disk is full", "the log says why, and an incomplete archive never has an archive's name. The exit status stays 0: programs that start the tool rely on it", "packing-fails"),
    ("Deleting through links, or deleting strangers' files", "the tool deletes in folders that it holds open, and never through a link; a home, a source, a sticky folder and what is mounted are never emptied; any other folder that is named with --dir is", "dir-not-to-be-emptied dir-of-others links-for-root"),
    ("Predictable names in shared temporary folders", "the names are fixed; what that means and what to do instead is in security.md", "links-for-ada"),
    ("Late workers write after the archive is closed, or crash at exit", "nothing that a detached thread can reach is destroyed; once the process is ending, no thread can start a command, or log or write anything about a killed one", "test_races.py: test_workers_that_hang_while_the_run_ends"),
    ("Commands wait for a terminal or for input", "standard input of all commands is /dev/null, and the tool reads none", "inherited"),
    ("The caller closes the output and the tool dies", "writing to a closed pipe is an error, not a signal; closed streams are /dev/null", "streams"),
    ("A port that answers with line noise", "a record in the log, whatever the answer", "tunnel-answers"),
    ("A loopback request goes to the proxy of the environment", "no proxy, no redirect, 30 seconds, the first 4 MiB", "tunnel-answers"),
    ("Huge folders, sparse giants, whole files in memory", "time grows with the number of files, memory stays below 32 MiB", "test_limits.py: test_much_data_and_little_memory"),
    ("Odd names, link loops, links to / and devices", "copied under their names, or passed over", "names special-files"),
    ("Folders and files that the user may not read", "passed over, the rest is collected", "user"),
    ("A parallel rewrite drops or doubles files", "the archive is compared with the tree, entry by entry", "base"),
    ("Two runs at once", "the one that finds the folder locked uses a scratch folder of its own; all archives are whole and complete", "test_races.py: test_runs_at_once_in_the_same_folder"),
    ("An own log that cannot be written", "the records go to standard error", "homes"),
]
TAIL = """
Progress characters in logs and pipes: progress and result lines are written on a terminal only; `--quiet` does not affect
the lines on standard output. Nobody knows what is in the archive or why a piece is missing: see archive-layout.md and
troubleshooting.md.

## What an interrupted run leaves

A signal that ends programs makes the tool kill its commands, and then remove its scratch folder, the report and an incomplete
archive, for a second at most. After an exception that nothing catches it only kills its commands. A signal that was ignored when
the tool was started stays ignored. On SIGKILL, and on the signals of faults such as SIGSEGV, the commands keep running and everything
stays. The next run in the same folder removes what it may, or moves the scratch folder aside, and names what it could not
remove.

## Faults drawn at random

`./dev mutate --random N SEED` draws one-line faults by rule from all of `src`. Of the first 78 of seed 7 that compile and change
an object file, 55 were noticed (0.71), 23 not. For three of those, scenarios have new runs since, and one statement had no effect and
has gone: 58 of 77 (0.75). The other 19:

- **the same program for every input** (9): larger buffers, bounds of a wait, results that no caller looks at, levels that no call has;
- **only a limit to the byte, or the number in one text** (3): headers of just under 256 KiB, 39 links in a row, the error number of a
  path that is too long;
- **only without memory** (3): texts and error numbers. `test_limits.py` lets memory run out, but not in each place;
- **only data that deflating makes longer than 4 GiB** (2): a test would pack 4 GiB of noise;
- **a race** (2): a process that starts others while it is ended, a folder that goes between its listing and its packing.

## Limits on purpose

- Copies leave 100 MiB of the volume free and as much again as the largest of them; each report ends at an eighth of the room
  that was free, 1 GiB at most.
- Commands that should be quick are killed: chmod after 5 seconds, showing the archive after 10. A login service that has not
  answered within 5 seconds is not waited for any longer.
- When the process ends it kills the commands that still run, and what they have started. It does not find a process that has
  left its command's session and whose parents have ended. What a report's command leaves in the background is killed when that
  command ends.
- Without threads for its three collectors the run ends abnormally, before anything is collected.
"""


def shown_by(names):
    """The names, each of which must exist."""
    tests = re.findall(r"(test_\w+\.py): (test_\w+)", names)
    for file, name in tests:
        if "def %s(" % name not in (TESTS / file).read_text():
            raise SystemExit("%s has no %s" % (file, name))
    scenarios = re.sub(r"test_\w+\.py: test_\w+", "", names).split()
    for name in scenarios:
        if not (TESTS / "expected" / name).exists():
            raise SystemExit("there is no scenario " + name)
    return ", ".join(scenarios + ["%s: %s" % test for test in tests])


def page():
    text = HEAD
    for heading, rows in ("", FAULTS), (KNOWN, COMPLAINTS):
        text += heading
        for problem, outcome, names in rows:
            text += "| %s | %s | %s |\n" % (problem, outcome, shown_by(names))
    return text + TAIL


if __name__ == "__main__":
    if "--check" not in sys.argv:
        PAGE.write_text(page())
    elif PAGE.read_text() != page():
        raise SystemExit("docs/reliability.md is out of date: run " + __file__)

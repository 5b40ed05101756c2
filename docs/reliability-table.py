"""Writes docs/reliability.md from the tests; with --check, tells whether it is up to date.

The docstring of each fault test is a row (fault | how it is provoked | what happens). Each row below names the test that
shows it, which must exist.
"""
import ast
import pathlib
import sys

HERE = pathlib.Path(__file__).resolve().parent
TESTS = HERE.parent / "tests" / "e2e"
PAGE = HERE / "reliability.md"
HEAD = """# What the tool survives

Made by docs/reliability-table.py from the tests named here; edit those. Each test runs the real program in namespaces
of its own. "Whole archive" means: every entry is read back and its checksum is right.

## Faults that the tests provoke

| Fault | How it is provoked | What happens | Test |
|---|---|---|---|
"""
KNOWN = """
## What users of such tools complain of

| Complaint | Here | Shown by |
|---|---|---|
"""
ROWS = [
    ("One stuck command loses the whole report", "every wait has a limit; the archive is made without the missing piece", "test_hang.py", "test_every_command_and_the_peer_hang"),
    ("A grandchild keeps the pipe open and the reader waits for ever", "the reader is a detached thread; the process ends while it reads, and kills the commands", "test_faults_setting.py", "test_no_command_outlives_the_run"),
    ("A FIFO in the tree blocks the copy", "only regular files are opened, and never so that opening could block", "test_hostile.py", "test_links_and_special_files"),
    ("One bad file aborts the rest", "each file and folder fails alone, and a record tells", "test_faults_losses.py", "test_single_faults"),
    ("A file grows or shrinks meanwhile and the archive is corrupt", "the tool packs its own copy, and never more than the file had when it was opened", "test_hostile.py", "test_files_that_come_grow_and_go"),
    ("Success is announced although the disk is full", "the log tells, and what there is of the archive never bears its name. The exit status stays 0: programs that start the tool rely on it", "test_faults_losses.py", "test_packing"),
    ("Deleting through links, or deleting strangers' files", "deletion opens what it empties and never through a link; a folder with somebody's files is not used for output", "test_faults_links.py", "test_folders_that_are_not_to_be_emptied"),
    ("Predictable names in shared temporary folders", "the names are fixed; what that means and what to do instead is in security.md", "test_faults_links.py", "test_planted_by_somebody_else"),
    ("Late workers write after the archive is closed, or crash at exit", "nothing that a detached thread can reach is destroyed, and once the process is ending no thread can start a command, or log or write after a killed one", "test_hang.py", "test_every_command_and_the_peer_hang"),
    ("Commands wait for a terminal or for input", "standard input is /dev/null, for the tool and all commands", "test_hang.py", "test_every_command_and_the_peer_hang"),
    ("The caller closes the output and the tool dies", "writing to a closed pipe is an error and no signal; closed streams are /dev/null", "test_hostile.py", "test_standard_streams_closed_or_full"),
    ("A port that answers with line noise", "a record in the log, whatever the answer", "test_tunnel.py", "test_answers"),
    ("A loopback request goes to the proxy of the environment", "no proxy, no redirect, 30 seconds, the first 4 MiB", "test_tunnel.py", "test_answers"),
    ("Huge folders, sparse giants, whole files in memory", "time grows with the number of files, memory stays below 32 MiB", "test_faults_losses.py", "test_much_data_and_little_memory"),
    ("Odd names, link loops, links to / and devices", "copied under their names, or passed over", "test_hostile.py", "test_names"),
    ("Folders and files that the user may not read", "passed over, the rest is collected", "test_hostile.py", "test_ordinary_user_meets_closed_doors"),
    ("A parallel rewrite drops or doubles files", "the archive is compared with the tree, entry by entry", "test_run.py", "test_modes"),
    ("Two runs at once", "both end with 0; the later one may take the earlier one's copies away", "test_hostile.py", "test_runs_at_once_in_the_same_folder"),
    ("An own log that cannot be written", "the records go to standard error", "test_faults_setting.py", "test_environments"),
]
TAIL = """
Progress characters in logs and pipes: progress and result lines are written on a terminal only; `--quiet` does not affect
the lines on standard output. Nobody knows what is in the archive or why a piece is missing: see archive-layout.md and
troubleshooting.md.

## What an interrupted run leaves

On SIGINT, SIGTERM, SIGHUP and SIGQUIT the tool kills its commands and then ends; a signal that it was started to ignore stays
ignored. On SIGKILL the commands keep running. Nothing else is cleaned up: the scratch folder, the report and perhaps an
incomplete archive, whose name ends in ".incomplete", stay. The next run in the same folder removes them before it begins.

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


def test_docstrings(path):
    for node in ast.walk(ast.parse(path.read_text())):
        if isinstance(node, ast.FunctionDef) and node.name.startswith("test_"):
            yield node.name, ast.get_docstring(node) or ""


def page():
    text = HEAD
    for path in sorted(TESTS.glob("test_faults_*.py")):
        for name, docstring in test_docstrings(path):
            fault, how, outcome = docstring.strip().split(" | ")
            text += "| %s | %s | %s | %s: %s |\n" % (fault, how, outcome, path.name, name)
    text += KNOWN
    for complaint, here, file, name in ROWS:
        if name not in dict(test_docstrings(TESTS / file)):
            raise SystemExit("%s has no %s" % (file, name))
        text += "| %s | %s | %s: %s |\n" % (complaint, here, file, name)
    return text + TAIL


if __name__ == "__main__":
    if "--check" not in sys.argv:
        PAGE.write_text(page())
    elif PAGE.read_text() != page():
        raise SystemExit("docs/reliability.md is out of date: run " + __file__)

"""check_this_mac.py PROGRAM: runs packaging/macos/check-this-mac on the Linux program, each time in a box of its own.

All rows that need no Mac pass, and each of them fails for a program that is broken in its way.
"""
import concurrent.futures
import pathlib
import re
import sys
import tempfile

import box

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "packaging/macos/check-this-mac"
REAL, TOOL = "/opt/real/LogCollectionTool", "/opt/tool/LogCollectionTool"
# What stands in the program's place ($2 is the output folder), and the rows that fail for it.
BROKEN = {
    '[ "$1" = --version ] && exec echo nonsense; exec REAL "$@"': "version",
    'trap : INT; REAL "$@"; exit 3': "run interrupt root",
    'REAL "$@"; for f in "$2"/*.zip; do truncate -s -100 "$f"; done': "archive copies",  # it is torn
    'sleep 60 & exec REAL "$@"': "two",  # left behind
    'REAL "$@"; touch "$2/left"': "two root",
    'REAL "$@"; cd "$2"; unzip -qd x *.zip; sed -i /netcard/d x/*.log; cd x; python3 -m zipfile -c ../*.zip *; rm -r ../x': "sections",
    '[ -w "$2" ] || kill -ABRT $$; exec REAL "$@"': "exceptions",  # which this program cannot catch
    'PATH=/usr/bin:/usr/sbin exec REAL "$@"': "stuck",  # hanging commands are not those of the row
}


def run(program, stand_in, shell):
    """What a shell line prints in a box with the script, and this shell text beside it in the program's place."""
    with tempfile.TemporaryDirectory() as folder:
        tool = pathlib.Path(folder) / "tool"
        tool.write_text("#!/bin/sh\n" + stand_in.replace("REAL", REAL))
        tool.chmod(0o755)
        return box.run(shell, {REAL: program, TOOL: tool, "/opt/tool/check-this-mac": SCRIPT})


def check(program, rows, stand_in='exec REAL "$@"', end="passed"):
    """The rows end like this, each in one line; the file to send says the same, and nothing else is left."""
    shell = "sh /opt/tool/check-this-mac --only %s; echo status $?; ls -A /tmp | grep check; sed 's/^/> /' mac-check-*" % rows
    seen = run(program, stand_in, shell)
    lines = re.findall(r"^(\w+) +(\w+) +\d+ s$", seen, re.MULTILINE)
    assert sorted(lines) == sorted((end, row) for row in rows.split()), (stand_in, seen)
    assert lines == re.findall(r"^> (\w+) +(\w+) +\d+ s$", seen, re.MULTILINE), seen
    assert "\nstatus %d\n> system: " % (end == "failed") in seen, seen


def main(program):
    box.need()
    table = re.findall(r"^(\w+) +(?:any|sudo) ", run(program, "", "sh /opt/tool/check-this-mac --help"), re.MULTILINE)
    assert set(table) == set(" ".join(BROKEN.values()).split()), "each row is to fail for one of the programs"
    with concurrent.futures.ThreadPoolExecutor(12) as pool:
        tries = [pool.submit(check, program, "stuck"), pool.submit(check, program, " ".join(row for row in table if row != "stuck"))]
        tries += [pool.submit(check, program, rows, stand_in, "failed") for stand_in, rows in BROKEN.items()]
        # Whoever stops it finds nothing left of it.
        stopped = run(program, 'exec REAL "$@"', "sh /opt/tool/check-this-mac --only stuck & sleep 2; kill $!; wait; ls /tmp; ps ax -o comm")
        assert not re.search("check|sleep|Log|perl", stopped), stopped
        for tried in tries:
            tried.result()


main(sys.argv[1])

"""scripts.py BUILD: what ./dev refuses before it installs, builds or runs anything, and what `cmake --install` places;
packaging/macos/check-this-mac on Linux: all rows that need no Mac pass, and each fails for a broken program."""
import concurrent.futures
import os
import pathlib
import re
import shlex
import subprocess
import sys
import tempfile

PROJECT = pathlib.Path(__file__).resolve().parents[2]
# A root folder in memory with the machine's programs: nothing else is there, or can be harmed.
BOX = """bwrap --unshare-all --uid 0 --gid 0 --cap-drop ALL --die-with-parent --tmpfs / --proc /proc --dev /dev
    --tmpfs /tmp --dir /here --chdir /here
    --symlink usr/bin /bin --symlink usr/sbin /sbin --symlink usr/lib /lib --symlink usr/lib64 /lib64""".split()
SEEN = "/usr /etc/ld.so.cache /etc/passwd /etc/os-release /etc/alternatives".split()

# For ./dev nothing is missing, and what it builds is a program that says that it was run.
FAKES = r"""mkdir /fakes; cd /fakes; PATH=/fakes:$PATH
printf '#!/bin/sh\ntouch /looked; echo install ok installed' >dpkg-query
printf '#!/bin/sh\nmkdir -p build/release; cp /fakes/tool build/release/LogCollectionTool' >cmake
printf '#!/bin/sh\necho ran' >tool
chmod +x *; cp /opt/dev /here; cd /
"""
# What ./dev says, with an /out that is made so, to each of these lines. The tool empties that folder when it is run.
DEV = [
    ("ran", ["true", "mkdir out; touch out/.DS_Store", "mkdir -p out/logFiles out/logFiles.12 out/logFiles.left-9",
             "mkdir out; cd out; touch oBrelaLog_1.zip oBrelaLog_2.zip.incomplete system_info.log"],
     ["collect -d /out"]),
    ("not the tool's own", ["mkdir out; touch out/oBrelaLog_1.zip out/thesis", "mkdir -p out/oBrelaLog_1.zip",
                            "mkdir -p out/system_info.log", "mkdir -p out/pictures out/logFiles",
                            "mkdir out; touch out/oBrelaLog_1.zip.", "mkdir out; ln -s . out/logFiles"],
     ["collect -d /out", "collect --dir=//", "collect -kqd usr/", "collect --dir ../usr"]),
    ("is a file", ["touch out"], ["collect -d /out", "collect --dir=/dev/null"]),
    ("needs a folder", ["true"], ["collect --dir", "collect -kqd", "collect --dir="]),
    ("a shell acts on", ["true"], ["collect -d " + shlex.quote("/" + c) for c in " \t\n|&;<>()$`\\\"'*?[]{}~#!"]),
    ("no source has", ["true"], ["mutate nonsense"]),
    ("does not know", ["true"], [
        "nonsense", "test all", "sanitize msan", "macos x", "bench --fast", "format --Check", "tidy src", "collect x",
        "collect --foo", "collect -kx", "collect -d=/x", "collect -dk x", "collect --help=x"])]

# What stands in the program's place ($2 is the output folder), and the rows of check-this-mac that fail for it.
WHOLE = 'exec REAL "$@"'
BROKEN = {
    '[ "$1" = --version ] && exec echo nonsense; ' + WHOLE: "version",
    'trap : INT; REAL "$@"; exit 3': "run interrupt root",
    'REAL "$@"; for f in "$2"/*.zip; do truncate -s -100 "$f"; done': "archive copies",  # it is torn
    'sleep 60 & ' + WHOLE: "two",  # left behind
    'REAL "$@"; touch "$2/left"': "two root",
    'REAL "$@"; cd "$2"; unzip -qd x *.zip; sed -i /netcard/d x/*.log; cd x; python3 -m zipfile -c ../*.zip *; '
    'rm -r ../x': "sections",
    '[ -w "$2" ] || kill -ABRT $$; ' + WHOLE: "exceptions",  # which this program cannot catch
    'PATH=/usr/bin:/usr/sbin ' + WHOLE: "stuck"}  # hanging commands are not those of the row


def run(shell, **seen):
    """What a shell line prints in a box; `seen` are files and folders that are in its /opt, by their names there."""
    binds = [(path, path) for path in SEEN] + [(path, "/opt/" + name) for name, path in seen.items()]
    words = BOX + [word for paths in binds for word in ("--ro-bind", *paths)] + ["sh", "-c", "exec 2>&1\n" + shell]
    return subprocess.run(words, stdin=subprocess.DEVNULL, capture_output=True, text=True).stdout


def check_dev():
    cases = [(says, made, line) for says, makes, lines in DEV for made in makes for line in lines]
    tried = ["cd /; rm -rf out looked; %s; /here/dev %s; ls -d /looked; echo END\n" % case[1:] for case in cases]
    said = run(FAKES + "".join(tried), dev=PROJECT / "dev").split("END\n")
    for (says, made, line), text in zip(cases, said):
        assert says in text and ("\n/looked\n" in text) == (says == "ran"), (made, line, text)


def check_install(build):
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run(["cmake", "--install", build, "--prefix", folder], stdout=subprocess.DEVNULL, check=True)
        version = run("cd /opt/out/bin; PATH=$PWD:$PATH LogCollectionTool -v; ln -s $PWD/L* /x; /x -v", out=folder)
        assert re.fullmatch(r"([\d.]+?)\1", version), version
        for page in pathlib.Path(folder).rglob("*.md"):
            for link in re.findall(r"\]\(([^)#:]+)", page.read_text()):
                assert (page.parent / link).exists(), "%s links to %s, which is not installed" % (page, link)


def run_on_mac(build, words, stand_in=WHOLE):
    """What check-this-mac prints with these words, and this shell text beside it in the program's place."""
    tool = "cp /opt/script check; cat >LogCollectionTool <<'END'; chmod 755 LogCollectionTool\n#!/bin/sh\n%s\nEND\n"
    return run(tool % stand_in.replace("REAL", "/opt/real") + "sh check " + words,
               real=build + "/tests/e2e/short_limits", script=PROJECT / "packaging/macos/check-this-mac")


def check_mac(build, rows, stand_in, end):
    """The rows end like this, each in one line; the file to send says the same, and nothing else is left."""
    words = "--only %s; echo status $?; ls -A /tmp | grep check; sed 's/^/> /' mac-check-*" % rows
    seen = run_on_mac(build, words, stand_in)
    lines = re.findall(r"^(\w+) +(\w+) +\d+ s$", seen, re.MULTILINE)
    assert sorted(lines) == sorted((end, row) for row in rows.split()), (stand_in, seen)
    assert lines == re.findall(r"^> (\w+) +(\w+) +\d+ s$", seen, re.MULTILINE), seen
    assert "\nstatus %d\n> system: " % (end == "failed") in seen, seen


def main(build):
    if run("echo made") != "made\n":
        print("skipped: no box can be made here:", run("true"))
        sys.exit(1 if os.environ.get("CI") == "true" else 77)
    table = re.findall(r"^(\w+) +(?:any|sudo) ", run_on_mac(build, "--help"), re.MULTILINE)
    assert set(table) == set(" ".join(BROKEN.values()).split()), "each row is to fail for one of the programs"
    table.remove("stuck")
    with concurrent.futures.ThreadPoolExecutor(12) as pool:
        tries = [pool.submit(check_mac, build, rows, WHOLE, "passed") for rows in ("stuck", " ".join(table))]
        tries += [pool.submit(check_mac, build, rows, stand_in, "failed") for stand_in, rows in BROKEN.items()]
        check_dev()
        check_install(build)
        # Whoever stops it finds nothing left of it.
        stopped = run_on_mac(build, "--only stuck & sleep 2; kill $!; wait; ls /tmp; ps ax -o comm")
        assert not re.search("check|sleep|Log|perl", stopped), stopped
        for tried in tries:
            tried.result()


main(sys.argv[1])

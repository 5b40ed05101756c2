"""The scenarios: a name, the tool's arguments, and what differs from the base machine, in the words of play.play.

usage: scenarios.py [--approve] [SCENARIO... | PART/PARTS]     ./dev approve calls it; ctest runs it in parts, without
                                                               "base" and those that wait long: tests of their own

Each leaves a state (see state.py), which is compared with expected/base (the whole state of "base") or
expected/SCENARIO (what differs from that one, by sections). What differs otherwise is printed as a diff. --approve
writes the present states: read them in `git diff` before you commit them.
"""
import itertools
import os
import pathlib
import random
import signal
import socket
import sys
import termios

from sandbox import (APP, GATE, LAUNCHD, LOGS, MACOS_COMMANDS, MIB, OWN_LOG, PORT_FILE, ROOT_DIR, SCRATCH, SHARED,
                     SHORT_LIMITS, link, mount, no_shell, until, volume)
from play import each, main, ok, put_machine, scenario

REPORTS, AGENTS = "/Library/Logs/DiagnosticReports/", "/var/log/quelmar/OKVU3_LOG/"
DOCUMENTS = "/Users/ada/Documents/keep.log"
INSTALLER = "/var/log/quelmar/sdp/oBrelaInstallOut.log"
SEAT, PASSWD = "/run/systemd/seats/seat0", "/etc/passwd"
USERS = "root:x:0:0::/root:/bin/sh\nada:x:1000:1000::/:/bin/sh\n"
DAY = 86400
ADA, BOB = 1000, 1001
EPERM, ENOENT, EIO, EACCES, ENOSPC, EDQUOT = 1, 2, 5, 13, 28, 122


def put_into(folder, names, what="left over"):
    return dict.fromkeys([folder + name for name in names.split()], what)


def own(owner, mode, *paths):
    """A function that gives paths of a box an owner and a mode."""
    def give(box):
        for path in map(box.path, paths):
            os.chown(path, owner, owner)
            os.chmod(path, mode)
    return give


def owned(owner, what=os.mkdir, mode=None):
    return {"what": what, "owner": owner, "mode": mode}


def kill(number):
    def send(box, process):
        os.kill(process.pid, number)
        process.wait()
    return send


scenario("base")

# Options
scenario("options", runs=each("arguments", [
    ("-d", "/out", "--help", "-v"), ("-qkv", "--dir=/out", "--foo"), ("-q",),
    ("-kq", "--dir", "/out", "--bad", "--quiet=x", "stray", "-", "--"), ("-xkd", "/out", "-zd"), ("-dq", "/x"),
    ("--dir",), ("--dir=",), ("--dir", "--quiet"), ("-q", "-d", "/x", "--dir", "/out/a=b")]))
MONTH, ZONE = 30 * DAY, 4 * 3600
AGES = {"new.log": 60, "old.log": MONTH - 60, "older.log": MONTH + 60, "future.log": -3600, "early.log": -ZONE,
        "late.log": MONTH - ZONE, "old.dmp": 31 * DAY, "old.pcap": 99 * DAY, "new.txt": 0, "new.BACK": 60, "none": 60,
        "old.xlog": 31 * DAY, "new.crash": 60, "old.crash": 31 * DAY, "new.ips": 60, "future.dmp": -3600,
        "new.json": 60, "ages.dmp": -500_000_000_000}
scenario("key-logs", "-k", runs=each("env", [{"TZ": "UTC"}, {"TZ": "<+05>-5"}]), files={
    **{LOGS + name: {"age": age} for name, age in AGES.items()},
    LOGS + "2mib.log": 2 * MIB, LOGS + "more.log": 2 * MIB + 1, LOGS + "more.dmp": 2 * MIB + 1})

# The output folder
scenario("dir-spellings", runs=[*each("arguments", [["--dir=" + name] for name in (
    "/out/a/b", "x", "./y", "../z", "../../w", "./a/b", "v/.", "./u/", "/link/out")]),
    {"arguments": ["-q", "-d", "/out/with blank"]}, {"arguments": ["--dir=/file"]}],
    files={PASSWD: USERS + "daemon:x:1:1::/far\nnfs:x:65534:1::/farther\nnull:x:4711:1::/dev/null\n",
           "/file": "somebody's", "/link": link("/far"), "/far/out": link("/farther"),
           **put_into("/farther/", "stray.txt logFiles/x")})
scenario("dir-not-to-be-emptied", env={"SUDO_UID": "1001"}, runs=each("arguments", [["--dir=" + name] for name in (
    "/", "/Users/./ada/Library/..", "/linked/ada/", SHARED, SHARED + "/Crash", ".", LAUNCHD, "/home/bob", "/srv",
    "/Users/ada/Desktop", "/bound")]), files={
        "/linked": link("/Users"), **put_into("", "/Users/ada/Desktop/x /home/bob/x /srv/carol/x"),
        PASSWD: USERS + "bob:x:1001:1001::/home/bob:/bin/sh\ncarol:x:1002:1002::/srv/carol:/bin/sh\n"},
         make=lambda box: (os.mkdir(box.path("/bound")), mount("--bind", box.path("/srv"), box.path("/bound"))))
THEIRS = "stray.txt thesis/x old.zip logFiles/x logFiles.7/x system_info.log oBrelaLog_1.zip.incomplete"
scenario("dir-of-others", files={
    "/shared": owned(0, mode=0o1777), "/drop": owned(BOB, mode=0o733), "/own": owned(ADA, mode=0o311),
    **put_into("/shared/", THEIRS), **put_into("/holder/", THEIRS), "/holder/disk": volume(MIB), "/holder/disk/x": "x"},
         runs=[{"arguments": ["--dir=/shared"]}, {"arguments": ["--dir=/holder"]},
               {"arguments": ["--dir=/drop"], "user": ADA}, {"arguments": ["--dir=/own"], "user": ADA}])
scenario("no-output-folder", "--dir=/link", files={"/link": link("/nowhere"), ROOT_DIR: None},
         make=lambda box: mount("-t", "tmpfs", "-o", "ro", "tmpfs", box.path("/tmp")))


def fill(box, process):
    """Takes the drive's free room away at once: the volume becomes as small as what is in it."""
    room = os.statvfs(box.path("/drive"))
    mount("-o", "remount,size=%d" % ((room.f_blocks - room.f_bfree) * room.f_bsize), box.path("/drive"))


COPYING = '[ "$2" = 777 ] && ' + GATE + 'exec /bin/chmod "$@"'
REPORTING = dict.fromkeys("uname ps journalctl".split(), GATE)
scenario("little-room", fakes={"chmod": COPYING, **REPORTING}, runs=[
    {"arguments": ["--dir=/full/out"], "files": {"/full": volume(500 * MIB - 4096)}},
    {"arguments": ["--dir=/barely/out"], "files": {"/barely": volume(500 * MIB)}},
    {"arguments": ["--dir=/drive/out"], "files": {
        "/drive": volume(600 * MIB), LOGS + "giant.log": 1 << 40, LOGS + "capture.pcap": 260 * MIB}},
    {"arguments": ["--dir=/drive/out"], "meanwhile": fill}])

# What is collected
scenario("bare-machine", bare=True, console=None, answer=None)
ODD_NAMES = ("new\nline.log", "quo'te\".log", "$(touch pwned).log", "`touch pwned`;touch pwned;.log", "-rf.log",
             "\udcff\udcfe.log", "%s{}{0}%n.log", "%s{}{0}%n.exe", "\x1b[2J\n.exe", "n" * 251 + ".log",
             " lead and trail .log", "..log", "*.log")
scenario("names", files={
    **{LOGS + name: name for name in (
        "a.json a.back a.xlog a.db a.sqlite3 a.crc a.mmap3 a.dmp a.ips a.crash a.pcap README b.gz.log .log nested/.x/c "
        "a.exe a.log.gz .hidden a. a.logx deep/logs/again.log mylogs/tail.log").split() + ["a.log "]},
    **{path: path for path in (
        REPORTS + "s.diag", REPORTS + "s.ips.log", REPORTS + "S.IPS", REPORTS + "Retired/old.ips",
        AGENTS + "other/y.log", APP + "/package.json", "/Users/bob" + SHARED + "/logs/other.log")},
    **{top + name: "x" for name in ODD_NAMES for top in (LOGS, LOGS + "dir" + name[:200] + "/")}})


def listen(path):
    os.chdir(os.path.dirname(path))  # the whole path is too long for a socket
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(os.path.basename(path))
    os.chdir("/")


SPECIAL = {"fifo": os.mkfifo, "socket.log": listen, "device": link("/dev/zero"), "loop": link("."),
           "up.log": link(".."), "root.log": link("/"), "dangling.log": link("/nowhere"), "self.log": link("self.log"),
           "docs": link(os.path.dirname(DOCUMENTS)), "file.log": link(DOCUMENTS), "file.ips": link(DOCUMENTS)}
scenario("special-files", files={
    DOCUMENTS: "precious", LOGS + "big.log": b"".join(b"%d\n" % number for number in range(400000)),
    **{top + name: how for name, how in SPECIAL.items() for top in (LOGS, AGENTS + "okvu_service/", REPORTS)}})
# Links of root's, ada's own and bob's, to files and above a source: ada's Library is a link of hers.
LIB = LOGS.replace("Library", "lib", 1)
scenario("links-in-sources", files={
    DOCUMENTS: owned(ADA, "ada's"), "/srv/bobs.log": owned(BOB, "bob's"), "/srv/DiagnosticReports/x.ips": "root's",
    "/Users/ada/lib": owned(ADA, lambda path: os.rename(os.path.dirname(path) + "/Library", path)),
    "/Users/ada/Library": owned(ADA, link("lib")), "/Users/ada/lib/Logs": owned(BOB, link("/srv")),
    LIB + "roots.log": link(DOCUMENTS), LIB + "own.log": owned(ADA, link(DOCUMENTS)),
    LIB + "bobs.log": owned(BOB, link(DOCUMENTS)), LIB + "bobs-own.log": owned(BOB, link("/srv/bobs.log"))})
FIXED = INSTALLER, LAUNCHD, PORT_FILE, APP + "/sdpc_md5.json", APP + "/static/.portal.json", SHARED + "/debug", OWN_LOG
scenario("fixed-files", files={DOCUMENTS: "precious"}, runs=each("files", [
    dict.fromkeys(FIXED, what) for what in (os.mkfifo, os.mkdir, link(DOCUMENTS))]))
scenario("sizes", runs=each("files", [{
    AGENTS + "okvu_service/big.log": 199 * MIB + over, AGENTS + "okvusp_driver/a/rest": MIB - 205,
    AGENTS + "okvu_packman/not_counted.bin": 300 * MIB, LAUNCHD: 10 * MIB + over} for over in (0, 1)]))
scenario("dropped-into-scratch", fakes={
    "journalctl": "cd %s && touch Tunnel.log oBrelaDNS.log a-tunnel any.exe && ln -s any.exe link && mkdir tunnel "
                  "empty theirs; touch tunnel/tunnel.log theirs/x.log && chown 1000 theirs && ln /etc/os-release "
                  "planted.log && stat -c %%a . .. >modes" % SCRATCH,
    "ip": "ln %s/system_info.log /backup; echo more" % ROOT_DIR,
    "sysctl": "ln %s/logs/uem_ada/system_state.log /state; echo more" % SCRATCH,
    "chmod": "cd %s && mkdir -p logs/ada && echo early >logs/ada/a.txt; echo early >logs/OKVU" % SCRATCH})

# Reports
scenario("macos", tool=MACOS_COMMANDS, files={
    "/System/Library/CoreServices/SystemVersion.plist": "<plist/>\n", "/Library/SystemExtensions/db.plist": "db"})
scenario("unknown-account-and-commands", files={
    "/Library/SystemExtensions/db.plist": "db", "/fakes/csrutil": None, "/fakes/kextstat": None,
    SEAT: "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=4711\n"})
scenario("nobody-logged-in", files={SEAT: None})
scenario("no-shell", runs=[{"make": no_shell}, {"fails": ("pipe pipe2", "*", EPERM)}])
FLOOD = 'exec yes "oBrela QMUem $(seq -s - 1000)"'
scenario("floods", files={LOGS + "big.log": MIB}, fakes={"ps": FLOOD, "journalctl": FLOOD}, runs=[
    {"shell": 'ulimit -S -f 2000; exec "$@"'},
    {"arguments": ["--dir=/drive/out"], "files": {"/drive": volume(600 * MIB)}}])

# The tunnel service's dump
OK, BIG = b"HTTP/1.1 200 OK\r\n", b"{} {0} %s module\n" + b"x" * 5000 + b"\n\ttail \xff"


def endless(header):
    return lambda connection: [connection.sendall(header), *map(connection.sendall, itertools.repeat(b"x" * MIB))]


PROXIES = dict.fromkeys("http_proxy HTTP_PROXY all_proxy ALL_PROXY".split(), "http://127.0.0.1:1")
scenario("tunnel-answers", make=no_shell, env=PROXIES, runs=each("answer", [
    ok(BIG), OK + b"\r\nuntil close", OK + b"Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", ok(b""),
    b"HTTP/1.1 204 No Content\r\n\r\n",
    b"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n",
    b"HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nnone", b"\0\xff\xfe\r\n\r\nrubbish" * 50, b"",
    OK + b"Content-Length: 100\r\n\r\nonly this", ok(b"x" * (4 * MIB)), ok(b"x" * (4 * MIB + 1)),
    endless(OK + b"\r\n"), endless(OK + b"X: ")]))
scenario("tunnel-ports", make=no_shell, port=65535, files={SHARED + "/debug": ""}, runs=each("files", [
    {PORT_FILE: text} for text in (
        "77\r\n", "6\t55 3\n5", "6 55 36\n", "65535", "", "+80", "80x", "0", "4294967376", " \n\t")]))

# Users and what is inherited
AS_ADA = {"user": ADA, "env": {"HOME": "/Users/ada"}}
scenario("user", **AS_ADA, umask=0o77, make=own(ADA, 0o755, "/Users/ada"), files={
    ROOT_DIR: None, LOGS + "closed/x.log": "x", LOGS + "closed": owned(0, mode=0o700), LOGS + "a.txt": owned(0, "", 0)})
AT_PACKING = ("openat", "*/oBrelaLog_*", -1, -2)  # the first one only reserves the name
KILLED = {"meanwhile": kill(signal.SIGKILL), "fails": AT_PACKING}
scenario("user-after-root", make=own(ADA, 0o755, "/Users/ada"), runs=[
    AS_ADA, *({"make": own(0, mode, ROOT_DIR), **run} for mode in (0o777, 0o1777) for run in (KILLED, AS_ADA))])
scenario("homes", files={ROOT_DIR: None}, runs=[
    {"user": ADA, "env": {"HOME": "relative", "XDG_DATA_HOME": "data"}},
    {"user": 4242, "env": {"HOME": ""}, "files": {ROOT_DIR: None}}])
scenario("inherited", umask=0o77, fakes={"ps": GATE + "cat"},
         shell='setsid sleep 1000000 & exec 9</etc/passwd <&9 env --ignore-signal=CHLD,INT,XFSZ "$@"',
         meanwhile=lambda box, process: os.kill(process.pid, signal.SIGINT))
scenario("odd-zones-and-locales", runs=[{"arguments": ["--dir=/%d" % number], "env": env} for number, env in enumerate([
    {"TZ": ":/nowhere"}, {"TZ": "x" * 5000}, {"TZ": ":/dev/zero"}, {"TZ": "", "LC_ALL": "xx_YY.UTF-8", "LANG": "x"},
    {"TZ": "XYZ+24:59:59", "LC_ALL": "tr_TR.UTF-8"}])])
scenario("streams", files={"/gone": os.mkfifo}, runs=[
    *each("shell", ['exec "$@" ' + redirection for redirection in (
        "<&- >&- 2>&-", ">/dev/full 2>/dev/full", "3<>/gone >/gone 2>/gone 3>&-")]),
    {"shell": 'exec 2<>/full; head -c 65536 /dev/zero >&2; exec "$@"',
     "files": {"/full": os.mkfifo, OWN_LOG: os.mkdir, OWN_LOG + "/x": ""}}])


def look(*widths):
    """Tells what is seen on the terminal while the tool waits; then, as it gets narrower, what is drawn next."""
    def seen(box, process):
        lines = until(lambda: "waiting" in str(found := box.screen.lines()) and found)
        for columns in widths:
            box.screen.resize(columns)
            box.screen.screen.reset()
            lines += ["in %d columns:" % columns, *until(lambda: len(found := box.screen.lines()) == 1 and found)]
        box.screen.resize(160)
        return lines
    return seen


def stop(box, process):
    lines = look()(box, process)
    termios.tcflow(box.screen.slave, termios.TCOOFF)
    return lines


SLOW = "[ -e /slow ] && " + GATE
SLOWED = {"open": GATE, "uname": SLOW, "journalctl": SLOW}
scenario("terminal", terminal=True, env={"TERM": "xterm"}, fakes=SLOWED, runs=[
    {}, {"arguments": ["-q"]}, {"argv0": "LogCollectionTool"},
    {"env": {"TERM": "dumb"}, "meanwhile": kill(signal.SIGINT), "fails": AT_PACKING},
    {"meanwhile": kill(signal.SIGINT)}, {"meanwhile": look(), "fails": AT_PACKING},
    {"meanwhile": look(60, 20, 9), "files": {"/slow": ""}},
    {"shell": 'exec <>%s 2>&0; set -m; "$@" & wait $!'},
    {"fails": ("fsync", "*/oBrelaLog_2*", EIO)}, {"meanwhile": stop},
    {"meanwhile": lambda box, process: box.screen.close(), "shell": 'trap "" HUP; exec "$@" 2<>%s',
     "make": lambda box: termios.tcflow(box.screen.slave, termios.TCOON)}])

# Calls that fail: (call, path, errno, which of them). What is lost is told; what could be had is in the archive.
A, COPIES = LOGS + "sub/x.log", SCRATCH + "/logs/ada"
scenario("copying-fails", make=no_shell, runs=[*each("fails", [
    ("openat", AGENTS + "okvu_service", EIO),
    ("openat", LOGS + "sub", EACCES), ("openat", LOGS[:-1], EIO), ("readdir", LOGS[:-1], EIO, 4), ("openat", A, EIO),
    ("openat", A, EACCES), ("openat", A, ENOENT), ("fstatat fstat", A, EIO), ("pread", A, EIO), ("pread", A, EIO, 2),
    ("openat", COPIES + "/sub/x.log", ENOENT), ("write", COPIES + "/sub/x.log", EDQUOT),
    ("close", COPIES + "/sub/x.log", EIO), ("mkdirat", COPIES + "/sub", EIO), ("mkdirat", COPIES, EIO),
    ("openat", LOGS + "*.*", EIO), ("pread", LAUNCHD, EIO), ("pread", INSTALLER, EIO),
    ("fstatvfs", SCRATCH + "*", EIO), ("readdir", "*", 0), ("mkdirat", SCRATCH, EACCES),
    ("mkdirat", SCRATCH + "/logs", EACCES), ("fchmod", SCRATCH, EPERM)]),
    *({"arguments": ["-k"], "fails": ("stat fstatat statx", path, EIO)} for path in (A, "*Crashes/e.dmp"))])


def change_sources(box, process):
    """While the first file is copied it grows; a second is cut, a third goes, a fourth comes."""
    os.truncate(box.path(LOGS + "a.txt"), 1000)
    os.truncate(box.path(A), 5)
    os.unlink(box.path(LOGS + "a.LOG"))
    box.put(LOGS + "sub/new.log", "new")


scenario("sources-change", make=no_shell, fails=("pread", LOGS + "a.txt", -1), meanwhile=change_sources)
ARCHIVE = "*/oBrelaLog_2*"
scenario("packing-fails", make=no_shell, files={LOGS + "noise.log": random.Random(1).randbytes(3 * MIB)}, runs=[
    *each("fails", [
        ("openat", ARCHIVE, EACCES), ("fwrite", ARCHIVE, ENOSPC), ("fwrite", ARCHIVE, EIO, -20),
        ("fstat", ARCHIVE, EIO), ("fsync", ARCHIVE, EIO), ("fstatat", "*.zip", EIO), ("ftruncate", ARCHIVE, EIO),
        ("linkat", ARCHIVE, EACCES), ("linkat renameat", ARCHIVE, EIO), ("pread read", COPIES + "/noise.log", EIO, 2),
        ("openat", COPIES, EIO, 4), ("readdir", COPIES + "/sub", EIO, 2), ("openat", COPIES + "/sub/x.log", EACCES, 2),
        ("unlinkat", COPIES + "/a.*", EIO), ("fstat", COPIES + "/sub/x.log", 0)]),  # 4 GiB more than there are
    {"fails": AT_PACKING, "meanwhile": lambda box, process: [
        os.unlink(box.path(COPIES + "/a.txt")), os.truncate(box.path(COPIES + "/sub/x.log"), 5)]}])
LOOK = "lstat fstatat statx"
scenario("housekeeping-fails", runs=[{"make": put_machine, "fails": fails} for fails in (
    ("readdir", ROOT_DIR, EIO, 18), (LOOK, ROOT_DIR + "/old3.zip", EIO), (LOOK, ROOT_DIR + "/stray.txt", EIO),
    ("unlinkat", ROOT_DIR + "/left/deep/x.log", EIO), ("unlinkat", SCRATCH + "/left*", EIO))])
scenario("own-log", files={LOGS + "\x1b[2J\n.exe": ""}, runs=[
    *each("fails", [(LOOK, OWN_LOG, EPERM), ("open openat", OWN_LOG, EPERM), (LOOK, ROOT_DIR, EPERM)]),
    *({"fails": fails, "files": {OWN_LOG: b"x" * (size * MIB - 1) + b"\n"}} for size, fails in (
        (11, None), (20, ("renameat", OWN_LOG, EPERM)), (20, None)))])

# Links that another user planted
HERS = "/Users/ada/Documents"
LINKED = [{SCRATCH: "", ROOT_DIR + "/system_info.log": "/keep.log", OWN_LOG: "/keep.log", ROOT_DIR + "/d/a": ""},
          {COPIES: "", SCRATCH + "/database": "", os.path.dirname(OWN_LOG): ""},
          {SCRATCH + "/logs": "", ROOT_DIR + "/system_info.log": "/new.log", OWN_LOG: "/new.log"}]
VICTIM = put_into(HERS, "/keep.log /logs/old.log /database/a.db /x.zip /LogColltionTool.log",
                  owned(ADA, "precious", 0o600))


def planted(owner, links):
    """A run that finds links to ada's documents; if they are bob's, so are the folders where they are, and sticky."""
    files = {path: owned(owner, link(HERS + target)) for path, target in links.items()}
    make = own(BOB, 0o1777, ROOT_DIR, *map(os.path.dirname, links)) if owner == BOB else None
    return {"files": {ROOT_DIR: os.mkdir, os.path.dirname(OWN_LOG): os.mkdir, **files}, "make": make}


scenario("links-for-root", files=VICTIM,
         runs=[planted(ADA, links) for links in [*LINKED, {ROOT_DIR: ""}]])
scenario("links-for-ada", files=VICTIM, user=ADA,
         env={"XDG_DATA_HOME": os.path.dirname("/Users/root" + SHARED)}, runs=[planted(BOB, links) for links in LINKED])


def exchange_scratch(box, process):
    """Bob has put a folder of his own there, and could put a link in its place while chmod runs."""
    os.rename(box.path(SCRATCH), box.path(ROOT_DIR + "/aside"))
    box.put(SCRATCH, **owned(BOB))


scenario("scratch-exchanged", fails=("fstatat", SCRATCH, -1, -2), meanwhile=exchange_scratch)

# Ends
SETTING_UP = '[ "$2" = 666 ] && [ -e /set-up ] && ' + GATE
scenario("ends", fakes={"chmod": SETTING_UP + COPYING, **REPORTING, "open": GATE}, runs=[
    {"meanwhile": kill(signal.SIGTERM), "files": {"/set-up": ""}},
    {"meanwhile": kill(signal.SIGHUP), "files": {"/set-up": None}},
    {"meanwhile": kill(signal.SIGTERM), "fails": ("posix_spawn", "/bin/sh", 0)}])
scenario("ends-in-reports", fakes=REPORTING, runs=each("meanwhile", [kill(number) for number in (
    signal.SIGINT, signal.SIGQUIT, signal.SIGKILL, signal.SIGUSR1, signal.SIGUSR2, signal.SIGALRM, signal.SIGVTALRM,
    signal.SIGPROF, signal.SIGXCPU, signal.SIGABRT)]))
scenario("ends-while-packing", fakes={"open": GATE}, runs=[
    {"meanwhile": kill(signal.SIGTERM), "fails": AT_PACKING}, KILLED,
    {"meanwhile": kill(signal.SIGKILL), "fails": ("fsync", "*/oBrelaLog_2*", -1)}, {"meanwhile": kill(signal.SIGINT)},
    {"arguments": ["-k"]}])

# What hangs: each waits long, and is a test of its own
for name, call, path in ("source", "pread", LOGS + "a.txt"), ("home", "openat", "/Users/root*"):
    scenario(name + "-does-not-answer", tool=SHORT_LIMITS, waits=5, fails=(call, path, -1),
             meanwhile=lambda box, process: process.wait())
HANGING = "exec sleep 1000000"
scenario("reports-and-peer-hang", tool=SHORT_LIMITS, waits=1, answer=lambda connection: connection.recv(1), fakes={
    "uname": HANGING, "ps": "kill -STOP $$", "journalctl": "yes oBrela | head -c 9000; setsid sleep 1000000 & wait"})
STUBBORN = "trap '' TERM HUP\n(setsid sleep 1000000; :) & (yes >/dev/null &) & sleep 1000000"
scenario("all-else-hangs", tool=SHORT_LIMITS, waits=1, files={SEAT: os.mkfifo},
         fakes={"chmod": HANGING, "open": STUBBORN, "uname": "sleep 1000000 &"})

# What ./dev keeps from the tool
SIGNS = " \t\n|&;<>()$`\\\"'*?[]{}~#!"
FOLDERS = ["/", "../full", "/full/", "/full/letter", "/dev/null", "", *("/a" + sign for sign in SIGNS)]
scenario("folders-kept-from-the-tool", argv0="/project/dev", files={
    "/project/dev": {"what": (pathlib.Path(__file__).parents[2] / "dev").read_bytes(), "mode": 0o755},
    **put_into("/full/", "letter oBrelaLog_1.zip", "somebody's")}, runs=each("arguments", [
        ("collect", *words) for words in [
            ("-kqd", "/full"), ("--dir", "/full"), *(["--dir=" + path] for path in FOLDERS)]]))

if __name__ == "__main__":
    main(sys.argv[1:])

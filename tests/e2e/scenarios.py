"""The scenarios: a name, the tool's arguments, and what differs from the base machine, in the words of play.play.

usage: scenarios.py [--approve] [SCENARIO... | PART/PARTS]     ./dev approve calls it; ctest runs it in parts, without
                                                               those that wait long: each is a test of its own

Each leaves a state (see state.py), which is compared with expected/base (the whole state of "base") or expected/SCENARIO
(what differs from that one, by sections). What differs otherwise is printed as a diff. --approve writes the present
states: read them in `git diff` before you commit them.
"""
import functools
import itertools
import os
import random
import shutil
import signal
import socket
import sys

from sandbox import (APP, LAUNCHD, MACOS_COMMANDS, MIB, MS_BIND, MS_RDONLY, MS_REMOUNT, OWN_LOG, ROOT_DIR, SCRATCH, SHARED, SHORT_LIMITS,
                     UEM_LOGS, mount)
from play import GATE, PORT_FILE, main, ok, scenario

LOGS, REPORTS = "/Users/ada" + SHARED + "/logs/", "/Library/Logs/DiagnosticReports/"
AGENTS = "/var/log/quelmar/OKVU3_LOG/"
DOCUMENTS = "/Users/ada/Documents/keep.log"
INSTALLER = "/var/log/quelmar/sdp/oBrelaInstallOut.log"
DAY = 86400


def kill(number):
    return lambda box, process: (os.kill(process.pid, number), process.wait())


def fill(box, process):
    """Takes the drive's free room away at once: the volume becomes as small as what is in it."""
    room = os.statvfs(box.path("/drive"))
    mount("tmpfs", box.path("/drive"), None, MS_REMOUNT, "size=%d" % ((room.f_blocks - room.f_bfree) * room.f_bsize))


def aged(**ages):
    """Files of these names among ada's logs, so many seconds old; `_` is the dot."""
    return {LOGS + name.replace("_", "."): functools.partial(age_file, seconds) for name, seconds in ages.items()}


def endless(header):
    return lambda connection: [connection.sendall(part) for part in itertools.chain([header], itertools.repeat(b"x" * MIB))]


def age_file(seconds, path):
    open(path, "w").close()
    os.utime(path, (os.stat(path).st_mtime - seconds,) * 2)


scenario("base")

# Options
scenario("usage", "-d", "/out", "--help", "-v")
scenario("version", "-qkv", "--dir=/out", "--foo")
scenario("options", "-kq", "--dir", "/out", "--bad", "--quiet=x", "stray", "-", "--")
scenario("quiet", "--quiet")
scenario("no-folder-in-name", argv0="LogCollectionTool", terminal=True, env={"TERM": "xterm"})
scenario("key-logs", "-k", env={"TZ": "UTC"}, files={
    **aged(new_log=60, old_log=30 * DAY - 60, older_log=30 * DAY + 60, future_log=-3600, old_dmp=31 * DAY, old_pcap=99 * DAY, new_txt=0),
    LOGS + "2mib.log": 2 * MIB, LOGS + "more.log": 2 * MIB + 1, LOGS + "more.dmp": 2 * MIB + 1})
scenario("key-logs-east", "-k", env={"TZ": "<+05>-5"}, files=aged(early_log=-4 * 3600, late_log=30 * DAY - 4 * 3600))

# The output folder
scenario("dir-spellings", "--dir=/out/a/b", then=[["--dir=" + name] for name in (
    "x", "./y", "../z", "../../w", "./a/b", "v/.", "./u/")])
scenario("dir-with-blank", "-q", "-d", "/out/with blank")
scenario("dir-is-a-file", "--dir=/out", files={"/out": "somebody's"})
scenario("dir-through-links", "--dir=/link/out", links={"/link": "/far", "/far/out": "/farther"}, files={
    "/farther/stray.txt": "left over", "/farther/logFiles/x": "left over"})
scenario("dir-not-to-be-emptied", "--dir=/", then=[["--dir=" + name] for name in (
    "/Users/./ada/Library/..", "/linked/ada/", SHARED, SHARED + "/Crash", ".", LAUNCHD, "/home/bob", "/srv", "/Users/ada/Desktop")],
    links={"/linked": "/Users"}, files={"/Users/ada/Desktop/x": "left over", "/home/bob/x": "bob's", "/srv/carol/x": "carol's",
                                        "/etc/passwd": "root:x:0:0::/root:/bin/sh\nada:x:1000:1000::/:/bin/sh\nbob:x:1001:1001::/home/bob:/bin/sh\n"
                                                       "carol:x:1002:1002::/srv/carol:/bin/sh\n"},
    env={"SUDO_UID": "1001"})
THEIRS = {"%s/%s" % (folder, name): "left over" for folder in ("/shared", "/holder") for name in (
    "stray.txt", "thesis/x", "old.zip", "logFiles/x", "logFiles.7/x", "system_info.log", "oBrelaLog_1.zip.incomplete")}
scenario("dir-for-others-too", "--dir=/shared", then=[["--dir=/holder"]], files=THEIRS, make=lambda box: [
    os.chmod(box.path("/shared"), 0o1777), os.mkdir(box.path("/holder/disk")), mount("tmpfs", box.path("/holder/disk"), "tmpfs"),
    box.put("/holder/disk/x", "theirs")])


def not_to_be_listed(box):
    for path, owner, mode in ("/Users/ada", 1000, 0o755), ("/drop", 1001, 0o733), ("/own", 1000, 0o311):
        os.makedirs(box.path(path), exist_ok=True)
        os.chown(box.path(path), owner, owner)
        os.chmod(box.path(path), mode)


scenario("dir-not-to-be-listed", "--dir=/drop", then=[["--dir=/own"]], user=1000, second_user=True, earlier=False,
         env={"HOME": "/Users/ada"}, make=not_to_be_listed)
scenario("no-output-folder", "--dir=/link", links={"/link": "/nowhere"}, make=lambda box: mount("tmpfs", box.path("/tmp"), "tmpfs", MS_RDONLY))
for name, missing in ("full", 4096), ("barely-room", 0):
    scenario("drive-" + name, "--dir=/drive/out", drive=500 * MIB - missing)

# What is collected
scenario("bare-machine", bare=True, console=None, answer=None)
scenario("extensions", files={LOGS + name: name for name in (
    "a.json a.back a.xlog a.db a.sqlite3 a.crc a.mmap3 a.dmp a.ips a.crash a.pcap README b.gz.log .log nested/.x/c a.exe a.log.gz "
    ".hidden a. a.logx deep/logs/again.log mylogs/tail.log").split() + ["a.log "]}, make=lambda box: [
        box.put(path, path) for path in (REPORTS + "s.diag", REPORTS + "s.ips.log", REPORTS + "S.IPS", REPORTS + "Retired/old.ips",
                                         AGENTS + "other/y.log", APP + "/package.json", "/Users/bob" + SHARED + "/logs/other.log")])
scenario("odd-names", files={folder + name: "x" for name in (
    "new\nline.log", "quo'te\".log", "$(touch pwned).log", "`touch pwned`;touch pwned;.log", "-rf.log", "\udcff\udcfe.log", "%s{}{0}%n.log",
    "%s{}{0}%n.exe", "\x1b[2J\n.exe", "n" * 251 + ".log", " lead and trail .log", "..log", "*.log") for folder in (LOGS, LOGS + "dir" + name[:200] + "/")})
SPECIAL = {"fifo": os.mkfifo, "device": lambda path: os.symlink("/dev/zero", path), "loop": lambda path: os.symlink(".", path),
           "up.log": lambda path: os.symlink("..", path), "root.log": lambda path: os.symlink("/", path),
           "dangling.log": lambda path: os.symlink("/nowhere", path), "self.log": lambda path: os.symlink("self.log", path),
           "docs": lambda path: os.symlink(os.path.dirname(DOCUMENTS), path), "file.log": lambda path: os.symlink(DOCUMENTS, path),
           "file.ips": lambda path: os.symlink(DOCUMENTS, path)}


def listen(path):
    os.chdir(os.path.dirname(path))  # the whole path is too long for a socket
    with socket.socket(socket.AF_UNIX) as listener:
        listener.bind(os.path.basename(path))
    os.chdir("/")


scenario("special-files", files={DOCUMENTS: "precious", **{folder + name: how for name, how in [*SPECIAL.items(), ("socket.log", listen)]
                                                          for folder in (LOGS, AGENTS + "okvu_service/", REPORTS)}})
def link_sources(box):
    """Links of root's, ada's own and bob's, to files and above a source: ada's Library is a link of hers."""
    os.rename(box.path("/Users/ada/Library"), box.path("/Users/ada/lib"))
    for name, owner, target in (("Library", 1000, "lib"), ("lib/Logs", 1001, "/srv"), *(("lib/" + LOGS[len("/Users/ada/Library/"):] + name, owner, target) for name, owner, target in (
            ("roots.log", 0, DOCUMENTS), ("own.log", 1000, DOCUMENTS), ("bobs.log", 1001, DOCUMENTS), ("bobs-own.log", 1001, "/srv/bobs.log")))):
        shutil.rmtree(box.path("/Users/ada/" + name), ignore_errors=True)
        box.link(target, "/Users/ada/" + name)
        os.lchown(box.path("/Users/ada/" + name), owner, owner)
    for path, owner in (("/Users/ada/lib", 1000), (DOCUMENTS, 1000), ("/srv/bobs.log", 1001)):
        os.chown(box.path(path), owner, owner)


scenario("links-in-sources", second_user=True, files={DOCUMENTS: "ada's", "/srv/bobs.log": "bob's", "/srv/DiagnosticReports/x.ips": "root's"}, make=link_sources)
scenario("home-does-not-answer", tool=SHORT_LIMITS, waits=10, fails=("openat", "/Users/root*", -1), meanwhile=lambda box, process: process.wait())
scenario("source-does-not-answer", tool=SHORT_LIMITS, waits=6, fails=("pread", LOGS + "a.txt", -1), meanwhile=lambda box, process: process.wait())
FIXED = (INSTALLER, LAUNCHD, PORT_FILE, APP + "/sdpc_md5.json", APP + "/static/.portal.json", SHARED + "/debug", OWN_LOG)
for name, kind in (("fifos", os.mkfifo), ("folders", os.mkdir), ("links", lambda path: os.symlink(DOCUMENTS, path))):
    scenario("fixed-files-are-" + name, files={DOCUMENTS: "precious", **{path: None for path in FIXED[:5]}},
             make=lambda box, kind=kind: [box.make(kind, path) for path in FIXED])
for name, over in ("at-limits", 0), ("over-limits", 1):
    scenario("sizes-" + name, files={AGENTS + "okvu_service/big.log": 199 * MIB + over, AGENTS + "okvusp_driver/a/rest": MIB - 205,
                                     AGENTS + "okvu_packman/not_counted.bin": 300 * MIB, LAUNCHD: 10 * MIB + over})
scenario("dropped-into-scratch", fakes={"journalctl": "cd %s && touch Tunnel.log oBrelaDNS.log a-tunnel any.exe && ln -s any.exe link && mkdir "
                                        "tunnel empty && touch tunnel/tunnel.log && ln /etc/os-release planted.log && stat -c %%a . .. >modes" % SCRATCH})
scenario("report-linked-meanwhile", fakes={"ip": "ln %s/system_info.log /backup; echo more" % ROOT_DIR, "sysctl": "ln %s/logs/uem_ada/system_state.log /state; echo more" % SCRATCH})
scenario("copies-are-there-already", fakes={"chmod": "cd %s && mkdir -p logs/ada && echo early >logs/ada/a.txt; echo early >logs/OKVU" % SCRATCH})
scenario("large-file", files={LOGS + "big.log": b"".join(b"%d\n" % number for number in range(400000))})

# Reports
scenario("macos", tool=MACOS_COMMANDS, files={"/System/Library/CoreServices/SystemVersion.plist": "<plist/>\n",
                                              "/Library/SystemExtensions/db.plist": "db"})
scenario("commands-missing", make=lambda box: [os.remove(box.path("/fakes/" + name)) for name in ("csrutil", "kextstat")],
         files={"/Library/SystemExtensions/db.plist": "db"})
scenario("unknown-account", files={"/run/systemd/seats/seat0": "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=4711\n"})
scenario("nobody-logged-in", files={"/run/systemd/seats/seat0": None})
scenario("no-shell", make=lambda box: mount("/dev/null", box.path(os.path.realpath("/bin/sh")), None, MS_BIND))
FLOOD = {name: 'exec yes "oBrela QMUem $(seq -s - 1000)"' for name in ("ps", "journalctl")}
scenario("floods", "--dir=/drive/out", drive=600 * MIB, fakes=FLOOD)
scenario("file-size-limit", shell='ulimit -S -f 2000; exec "$@"', fakes=FLOOD, files={LOGS + "big.log": MIB})

# The tunnel service's dump
OK, BIG = b"HTTP/1.1 200 OK\r\n", b"{} {0} %s module\n" + b"x" * 5000 + b"\n\ttail \xff"
LOCATION = b"HTTP/1.1 302 Found\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 0\r\n\r\n"
for name, answers in (("with-a-dump", [ok(BIG), OK + b"\r\nuntil close", OK + b"Transfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n0\r\n\r\n", ok(b"")]),
                      ("without", [b"HTTP/1.1 204 No Content\r\n\r\n", LOCATION, b"HTTP/1.1 404 Not Found\r\nContent-Length: 4\r\n\r\nnone",
                                   b"\0\xff\xfe\r\n\r\nrubbish" * 50, b"", OK + b"Content-Length: 100\r\n\r\nonly this"]),
                      ("too-long", [ok(b"x" * (4 * MIB)), ok(b"x" * (4 * MIB + 1)), endless(OK + b"\r\n"), endless(OK + b"X: ")])):
    scenario("answers-" + name, answer=answers)
PROXIES = dict.fromkeys("http_proxy HTTP_PROXY all_proxy ALL_PROXY".split(), "http://127.0.0.1:1")
scenario("proxies", env=PROXIES)
for name, text in ("no-number", "77\r\n"), ("blanks", "7\t7 7\n7"), ("too-large", "6 55 36\n"), ("largest", "65535"), ("empty", ""):
    scenario("port-" + name, port=65535 if name == "largest" else 7777, files={PORT_FILE: text, SHARED + "/debug": ""})

# Users and what is inherited
scenario("user", user=1000, second_user=True, earlier=False, umask=0o77, env={"HOME": "/Users/ada"}, files={LOGS + "closed/x.log": "x"}, make=lambda box: [
    os.chmod(box.path(LOGS + "closed"), 0o700), os.chmod(box.path(LOGS + "a.txt"), 0), os.chown(box.path("/Users/ada"), 1000, 1000)])
scenario("user-after-root", user=1000, second_user=True)
scenario("umask", umask=0o77)
scenario("inherited", shell='setsid sleep 1000000 & exec 9</etc/passwd env --ignore-signal=CHLD,INT,XFSZ "$@"', meanwhile=lambda box, process: os.kill(process.pid, signal.SIGINT),
         fakes={"ps": GATE + "cat"})
scenario("odd-zones-and-locales", "--dir=/0", then=[["--dir=/%d" % number] for number in range(1, 5)], env=[{"TZ": ":/nowhere"}, {"TZ": "x" * 5000}, {"TZ": ":/dev/zero"}, {"TZ": "", "LC_ALL": "xx_YY.UTF-8", "LANG": "x"},
                                       {"TZ": "XYZ+24:59:59", "LC_ALL": "tr_TR.UTF-8"}])
scenario("terminal", terminal=True, env={"TERM": "xterm"})
scenario("terminal-quiet", "-q", terminal=True, env={"TERM": "xterm"})
for name, redirection in ("closed", "<&- >&- 2>&-"), ("full", ">/dev/full 2>/dev/full"), ("gone", "3<>/gone >/gone 2>/gone 3>&-"):
    scenario("streams-" + name, shell='exec "$@" ' + redirection, files={"/gone": os.mkfifo})
scenario("nobody-reads-errors", shell='exec 2<>/full; head -c 65536 /dev/zero >&2; exec "$@"', files={"/full": os.mkfifo, OWN_LOG + "/x": ""})

# Calls that fail: (call, path, errno, which of them). What is lost is told; what could be had is in the archive.
EPERM, ENOENT, EIO, EACCES, ENOSPC, EDQUOT = 1, 2, 5, 13, 28, 122
A, ADA = LOGS + "sub/x.log", SCRATCH + "/logs/ada"
scenario("copying-fails", fails=[
    ("openat", LOGS + "sub", EACCES), ("openat", LOGS[:-1], EIO), ("readdir", LOGS[:-1], EIO, 4), ("openat", A, EIO), ("openat", A, EACCES),
    ("openat", A, ENOENT), ("fstatat fstat", A, EIO), ("pread", A, EIO), ("pread", A, EIO, 2), ("openat", ADA + "/sub/x.log", ENOENT),
    ("write", ADA + "/sub/x.log", EDQUOT), ("close", ADA + "/sub/x.log", EIO), ("mkdirat", ADA + "/sub", EIO), ("mkdir mkdirat", ADA, EIO),
    ("openat", LOGS + "*.*", EIO), ("pread", LAUNCHD, EIO), ("pread", INSTALLER, EIO), ("fstatvfs", SCRATCH + "*", EIO), ("readdir", "*", 0),
    ("mkdir mkdirat", SCRATCH, EACCES), ("mkdir mkdirat", SCRATCH + "/logs", EACCES), ("chmod fchmodat", SCRATCH, EPERM)])
ARCHIVE = "*/oBrelaLog_2*"
scenario("entry-over-4-gib", fails=("fstat", ADA + "/sub/x.log", 0))  # so it is said to be when it is packed
scenario("packing-fails", files={LOGS + "noise.log": random.Random(1).randbytes(3 * MIB)}, fails=[
    ("openat", ARCHIVE, EACCES), ("fwrite", ARCHIVE, ENOSPC), ("fwrite", ARCHIVE, EIO, -20), ("fstat", ARCHIVE, EIO), ("fsync", ARCHIVE, EIO),
    ("fstatat", "*.zip", EIO), ("ftruncate", ARCHIVE, EIO), ("linkat", ARCHIVE, EACCES), ("linkat renameat", ARCHIVE, EIO), ("pread read", ADA + "/noise.log", EIO, 2),
    ("openat", ADA, EIO, 4), ("readdir", ADA + "/sub", EIO, 2), ("openat", ADA + "/sub/x.log", EACCES, 2), ("unlinkat", ADA + "/a.*", EIO)])
scenario("housekeeping-fails", earlier="again", fails=[
    ("readdir", ROOT_DIR, EIO, 18), ("lstat fstatat statx", ROOT_DIR + "/old3.zip", EIO), ("lstat fstatat statx", ROOT_DIR + "/stray.txt", EIO),
    ("unlink unlinkat", ROOT_DIR + "/left/deep/x.log", EIO), ("unlink unlinkat", SCRATCH + "/left*", EIO)])
for name, calls, path in (("own-log-cannot-be-looked-at", "lstat fstatat statx", OWN_LOG), ("own-log-cannot-be-made", "open openat", OWN_LOG),
                          ("root-cannot-be-looked-at", "lstat fstatat statx", ROOT_DIR), ("no-pipes", "pipe pipe2", "*")):
    scenario(name, fails=(calls, path, EPERM), files={LOGS + "\x1b[2J\n.exe": ""})

# Links that another user planted
LINKED = {"scratch": {SCRATCH: "", ROOT_DIR + "/system_info.log": "/keep.log", OWN_LOG: "/keep.log", ROOT_DIR + "/d/a": ""},
          "folders": {SCRATCH + "/logs/ada": "", SCRATCH + "/database": "", os.path.dirname(OWN_LOG): ""}, "root": {ROOT_DIR: ""},
          "new-names": {SCRATCH + "/logs": "", ROOT_DIR + "/system_info.log": "/new.log", OWN_LOG: "/new.log"}}
VICTIM = {"/Users/ada/Documents/" + name: "precious" for name in ("keep.log", "logs/old.log", "database/a.db", "x.zip", "LogColltionTool.log")}


def plant(box, links, owner):
    """Links to ada's documents; the folders where they are become sticky, and bob's, when they are his."""
    for path, target in links.items():
        shutil.rmtree(box.path(path), ignore_errors=True)
        box.link("/Users/ada/Documents" + target, path)
        os.lchown(box.path(path), owner, owner)
    for name in VICTIM:
        os.chmod(box.path(name), 0o600)
        os.chown(box.path(name), 1000, 1000)
    for path in links:
        if owner == 1001:
            for folder in (os.path.dirname(path), ROOT_DIR):
                os.chown(box.path(folder), owner, owner)
                os.chmod(box.path(folder), 0o1777)


for name, links in LINKED.items():
    for who, user in ("root", None), ("ada", 1000):
        if user is None or ROOT_DIR not in links:
            scenario("links-for-%s-at-%s" % (who, name), second_user=True, user=user, earlier=False, files=VICTIM, env={"XDG_DATA_HOME": "/Users/root/Library/Application Support"},
                     make=functools.partial(plant, links=links, owner=1001 if user else 1000))



def exchange_scratch(box, process):
    """Bob has put a folder of his own there, and could put a link in its place while chmod runs."""
    os.rename(box.path(SCRATCH), box.path(ROOT_DIR + "/aside"))
    os.mkdir(box.path(SCRATCH))
    os.chown(box.path(SCRATCH), 1001, 1001)


scenario("scratch-exchanged", second_user=True, fails=("openat", ROOT_DIR, -1, -2), meanwhile=exchange_scratch)

# Ends
SETUP, COPYING = ({"chmod": '[ "$2" = %d ] && ' % mode + GATE + 'exec /bin/chmod "$@"'} for mode in (666, 777))
REPORTING = dict.fromkeys("uname ps journalctl".split(), GATE)
for name, number, fakes in (("term-at-set-up", signal.SIGTERM, SETUP), ("hup-before-copying", signal.SIGHUP, {**COPYING, **REPORTING}),
                            ("int-in-reports", signal.SIGINT, REPORTING), ("quit-in-reports", signal.SIGQUIT, REPORTING),
                            ("kill-in-reports", signal.SIGKILL, REPORTING), ("int-at-the-end", signal.SIGINT, {"open": GATE})):
    scenario(name, meanwhile=kill(number), fakes=fakes)
PACKING = ("openat", "*/oBrelaLog_*", -1, -2)  # the first one only reserves the name
for name, number in ("term", signal.SIGTERM), ("kill", signal.SIGKILL):
    scenario(name + "-while-packing", meanwhile=kill(number), fails=PACKING)
scenario("terminal-int", meanwhile=kill(signal.SIGINT), fails=PACKING, terminal=True, env={"TERM": "dumb"})
scenario("terminal-int-at-the-end", meanwhile=kill(signal.SIGINT), fakes={"open": GATE}, terminal=True, env={"TERM": "xterm"})
scenario("copies-vanish-and-shrink", fails=PACKING, meanwhile=lambda box, process: [
    os.unlink(box.path(ADA + "/a.txt")), os.truncate(box.path(ADA + "/sub/x.log"), 5)])
scenario("little-room", "--dir=/drive/out", drive=600 * MIB, files={LOGS + "giant.log": 1 << 40, LOGS + "capture.pcap": 260 * MIB})
scenario("volume-fills-up", "--dir=/drive/out", drive=600 * MIB, fakes={**COPYING, **REPORTING}, meanwhile=fill)
scenario("killed-then-again", then=[["-q"]], meanwhile=kill(signal.SIGKILL), fails=PACKING)
scenario("twice", then=[["-k"]])
for name, mode in ("", 0o777), ("-sticky", 0o1777):
    scenario("user-after-roots-killed-run" + name, second_user=True, user=[None, 1000], earlier=False, env=[{}, {"HOME": "/Users/ada"}], meanwhile=kill(signal.SIGKILL), fails=PACKING,
             make=lambda box, mode=mode: [os.mkdir(box.path(ROOT_DIR)), os.chmod(box.path(ROOT_DIR), mode), os.chown(box.path("/Users/ada"), 1000, 1000)])
HANGING = "exec sleep 1000000"
scenario("reports-and-peer-hang", tool=SHORT_LIMITS, alone=True, waits=1, answer=lambda connection: connection.recv(1), fakes={
    "uname": HANGING, "ps": "kill -STOP $$", "journalctl": "yes oBrela | head -c 9000; setsid sleep 1000000 & wait"})
STUBBORN = "trap '' TERM HUP\n(setsid sleep 1000000; :) & (yes >/dev/null &) & sleep 1000000"
scenario("all-else-hangs", tool=SHORT_LIMITS, waits=1, fakes={"chmod": HANGING, "open": STUBBORN, "uname": "sleep 1000000 &"},
         make=lambda box: [os.unlink(box.path("/run/systemd/seats/seat0")), os.mkfifo(box.path("/run/systemd/seats/seat0"))])
for name, size, fails in (("is-full", 20, None), ("cannot-be-rotated", 20, ("renameat", OWN_LOG, 1)), ("is-half-full", 11, None)):
    scenario("own-log-" + name, files={OWN_LOG: b"x" * (size * MIB - 1) + b"\n"}, fails=fails)
scenario("home-is-relative", user=1000, earlier=False, second_user=True, env={"HOME": "relative", "XDG_DATA_HOME": "data"})
scenario("home-is-gone", user=4242, earlier=False, second_user=True, env={"HOME": ""})

if __name__ == "__main__":
    main(sys.argv[1:])

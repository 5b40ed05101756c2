"""Runs the real LogCollectionTool on a machine of its own.

Test modules are run by sandbox.py MODULE [TEST...], confined first: the machine is read-only for it, and only /tmp its
own. Each Box is then a root folder on a tmpfs: the machine's programs, the tool's copy, everything else a fixture. The
tool is started with that root. The tests see what it did through the same tmpfs.
"""
import contextlib
import faulthandler
import functools
import glob
import os
import pathlib
import re
import resource
import shutil
import signal
import socketserver
import subprocess
import sys
import tempfile
import threading
import time
import unittest

import zip_walker

sys.path.append(os.path.dirname(os.path.abspath(__file__)) + "/../support")
from confined import confine, is_confined  # noqa: E402

os.environ["PATH"] += ":/usr/sbin"  # chroot is there, and not on every user's path

TOOL = os.environ.setdefault("LOGTOOL", str(pathlib.Path(__file__).parents[2] / "build/release/LogCollectionTool"))
MADE = os.path.dirname(TOOL) + "/tests/e2e/"  # the programs that belong to these tests
MACOS_COMMANDS = MADE + "macos_commands"
SHORT_LIMITS = MADE + "short_limits"  # the same tool, which waits some seconds only for what hangs
LIMIT = 60 if "MUTATE_CONFINED" in os.environ else 180  # seconds for a run and what a test does meanwhile
ROOT_DIR, SCRATCH = "/tmp/oBrelaLog", "/tmp/oBrelaLog/logFiles"
SHARED = "/Library/Application Support/oBrela"
OWN_LOG = "/Users/root" + SHARED + "/logs/LogColltionTool.log"
LOGS = "/Users/ada" + SHARED + "/logs/"
APP = "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app"
LAUNCHD = "/var/log/com.apple.xpc.launchd/launchd.log"
PORT_FILE = SHARED + "/var/run/debugserver"
MIB = 1 << 20
PROGRAMS = ["/" + name for name in os.listdir("/") if re.fullmatch("usr|s?bin|lib[0-9x]*", name)]  # the machine's
DEVICES = "/dev/null /dev/zero /dev/full /dev/urandom".split()
PS = "1 loginwindow\n2 oBrelaAgent\n3 FernGateway\n4 QMUem\n5 grep QMUem oBrela FernGateway loginwindow\n"
# Each fake prints its arguments, and two words that let it pass the tool's greps; cat and grep are the real ones.
FAKES = dict.fromkeys("open log journalctl uname ip who loginctl systemctl ls sysctl csrutil kextstat plutil ifconfig "
                      "netstat launchctl".split(), 'printf "${0##*/}:"; printf " [%s]" "$@"; echo " (oBrela utun7)"')
FAKES.update({"chmod": 'exec /bin/chmod "$@"', "ps": "printf '%s' '" + PS + "'"})
GATE = "[ -p /gate ] && cat /gate\n"  # a fake command that waits here goes on after `held`


def mount(*words):
    subprocess.check_call(["mount", *words])


def volume(size):
    """A function that makes a volume of so many bytes at a path."""
    return lambda where: (os.mkdir(where), mount("-t", "tmpfs", "-o", "size=%d" % size, "tmpfs", where))


def link(target):
    return lambda where: os.symlink(target, where)


def no_shell(box):
    """For runs in which no command can be started, and which are quicker therefore."""
    mount("--bind", "/dev/null", box.path(os.path.realpath("/bin/sh")))


def processes(root=tempfile.gettempdir()):
    """The folders in /proc of all that runs in the box with this root folder, or in any."""
    found = []
    for folder in glob.glob("/proc/[0-9]*"):
        with contextlib.suppress(OSError):  # it has ended
            found += [folder] * os.readlink(folder + "/root").startswith(root)
    return found


def at_rest(root):
    """What all threads in this box have done so far, as text, once each of them waits for something; else None."""
    tasks = [task for folder in processes(root) for task in glob.glob(folder + "/task/*/status")]
    with contextlib.suppress(OSError):  # one has ended
        found = " ".join(pathlib.Path(task).read_text() for task in tasks)
        return None if "State:\tR" in found else found


def until(condition):
    """Waits for a condition, at most until the alarm; returns what it was at last."""
    while not (value := condition()):
        time.sleep(0.001)
    return value


def enter(writable=None):
    """Confines this script (see confined.py); what it starts then has a usual session's limits and signals."""
    confine(writable)
    if pathlib.Path("/proc/self/uid_map").read_text().split()[2::3] == ["1"]:
        print("skipped: there is no second user here (see man subuid)")
        sys.exit(1 if os.environ.get("CI") == "true" else 77)
    resource.setrlimit(resource.RLIMIT_NOFILE, (256, 20000))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    for number in signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM:
        signal.signal(number, signal.SIG_DFL)  # a shell ignores some for what it runs in the background


def failing(calls, path, error, first=1):
    """The environment in which these calls of the tool's fail on paths like this one: see failing_calls.cpp."""
    return {"LD_PRELOAD": "/fakes/failing_calls.so", "FAIL_CALL": " %s " % calls, "FAIL_PATH": path,
            "FAIL_ERRNO": str(error), "FAIL_FROM": str(first)}


@contextlib.contextmanager
def held(box):
    """Waits until something has come to the gate, and lets it and all later ones go on afterwards."""
    def opened():
        with contextlib.suppress(OSError):
            return os.open(box.path("/gate"), os.O_WRONLY | os.O_NONBLOCK)

    gate = until(opened)
    until(lambda: (seen := at_rest(box.root)) and not time.sleep(0.02) and at_rest(box.root) == seen)
    yield
    os.unlink(box.path("/gate"))
    os.close(gate)


class Box:
    def __init__(self, console=None, fakes=(), tool=TOOL):
        """console: name of uid 1000 when somebody is logged in there; fakes: shell text in place of the usual."""
        if not is_confined():
            raise RuntimeError("not confined: start it as %s MODULE" % __file__)
        os.umask(0o22)  # some systems give their users another one
        self.root = tempfile.mkdtemp()
        self.server = self.screen = None  # a Server's and a Terminal's, where there is one
        mount("-t", "tmpfs", "-o", "size=9g,mode=755", "tmpfs", self.root)
        for folder in "/opt/tool", "/Library", "/System":
            os.makedirs(self.path(folder))
        for path in [*PROGRAMS, *DEVICES, "/proc"]:
            self.put(path, link(os.readlink(path))) if os.path.islink(path) else self.bind(path)
        shell = os.path.realpath("/bin/sh")
        for source, path in ("/etc/ld.so.cache",) * 2, (tool, "/opt/tool/LogCollectionTool"), (shell, "/fakes/sh"):
            self.put(path, functools.partial(shutil.copy, source))
        mount("--bind", MADE + "recording_shell", self.path(shell))
        self.bind(MADE + "libfailing_calls.so", "/fakes/failing_calls.so")
        self.put("/tmp", os.mkdir, mode=0o1777)
        self.put("/started", mode=0o666)  # see recording_shell.cpp
        self.put("/etc/passwd", "root:x:0:0::/root:/bin/sh\n%s:x:1000:1000::/:/bin/sh\n" % console)
        self.put("/etc/os-release", "NAME=box\n")
        self.put("/etc/resolv.conf", "nameserver 192.0.2.1\n")
        if console:
            self.put("/run/systemd/seats/seat0", "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=1000\n")
        for name, body in {**FAKES, **dict(fakes)}.items():
            self.put("/fakes/" + name, "#!/fakes/sh\n" + body + "\n", mode=0o755)

    def close(self):
        faulthandler.cancel_dump_traceback_later()
        subprocess.check_call(["umount", "-l", self.root])
        os.rmdir(self.root)

    def path(self, path):
        return self.root + path

    def bind(self, source, target=None):
        """Shows a folder or a file of the machine in the box: read-only, since it is so for the tests."""
        self.put(target or source, os.mkdir if os.path.isdir(source) else "")
        mount("--rbind", source, self.path(target or source))

    def put(self, path, what="", age=0, mode=None, owner=0):
        """In place of what is there, makes a file of this text or size, or what a function makes (os.mkdir, ...); None:
        nothing. age: in seconds."""
        where = self.path(path)
        os.makedirs(os.path.dirname(where), exist_ok=True)
        if os.path.lexists(where):
            subprocess.check_call(["rm", "-r", where])
        if what is None:
            return
        if callable(what):
            what(where)
        else:
            with open(where, "wb") as file:
                file.write(b"" if isinstance(what, int) else os.fsencode(what))
                file.truncate(what if isinstance(what, int) else None)
        os.lchown(where, owner, owner)
        if mode is not None:
            os.chmod(where, mode)
        if age:
            os.utime(where, (time.time() - age,) * 2)

    def read(self, path):
        return pathlib.Path(self.path(path)).read_bytes()

    def start(self, *arguments, argv0="/opt/tool/LogCollectionTool", shell=None, user=0, env=(), umask=0o22):
        """Starts the tool; `shell` is a shell line that ends in running "$@"."""
        faulthandler.dump_traceback_later(LIMIT, exit=True)
        # The thread sanitizer would leave its trace in TMPDIR, and /proc takes none.
        environment = {"TMPDIR": "/proc", "PATH": "/fakes:/opt/tool:/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C",
                       "TZ": "UTC", "HOME": "/home/some" if user else "/root", **dict(env)}
        environment.update((name, value) for name, value in os.environ.items() if name.endswith("SAN_OPTIONS"))
        command = ["chroot", "--userspec=%d:%d" % (user, user), self.root,
                   "env", "-i", *("%s=%s" % variable for variable in environment.items()),
                   *(["/fakes/sh", "-c", shell, "sh"] if shell else []), argv0, *arguments]
        with open(self.path("/stdout"), "ab") as out, open(self.path("/stderr"), "ab") as err:
            return subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=out, stderr=err, umask=umask,
                                    start_new_session=True)

    def finish(self, process, status=0):
        """Waits for the tool alone: commands that it left running are no reason to wait. Any `status`: None."""
        process.wait()
        errors = self.read("/stderr").decode(errors="replace")
        if status not in (process.returncode, None) or re.search("Sanitizer|runtime error:", errors):
            raise AssertionError("ended with %d, not %s\n%s" % (process.returncode, status, errors))

    def run(self, *arguments, status=0, **how):
        self.finish(self.start(*arguments, **how), status)

    def archives(self):
        return sorted(os.path.basename(path) for path in glob.glob(self.path(ROOT_DIR + "/oBrelaLog_*")))

    def zip(self, name=None):
        """Content of the newest archive, or of that name, by entry name; it must be whole."""
        entries, traits = zip_walker.walk(self.path(ROOT_DIR + "/" + (name or self.archives()[-1])))
        wrong = traits[1:] + [entry for entry in entries if len(entry[3]) > 1]
        assert traits[:1] == ["for unzip: whole"] and not wrong, (traits, wrong)
        return {name: content for name, content, *_ in entries}


class Server(socketserver.ThreadingTCPServer):
    """A peer on loopback. `answer` is the bytes to send, or is called with the connection."""
    daemon_threads = allow_reuse_address = True  # it is not closed before the test's process ends

    def __init__(self, answer, port=0):
        self.answer, self.requests = answer, []
        super().__init__(("127.0.0.1", port), None)
        self.port = self.server_address[1]
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def finish_request(self, request, client_address):
        self.requests.append(request.recv(65536))
        with contextlib.suppress(OSError):  # the tool hung up
            self.answer(request) if callable(self.answer) else request.sendall(self.answer)


class Case(unittest.TestCase):
    maxDiff = None

    def box(self, **options):
        box = Box(**options)
        self.addCleanup(box.close)
        return box


if __name__ == "__main__":
    enter()
    unittest.main(sys.argv.pop(1), failfast="MUTATE_CONFINED" in os.environ)  # the runner of faults needs one failure

"""Runs the real LogCollectionTool on a machine of its own.

Test modules are run by sandbox.py MODULE [TEST...], confined first: the machine is read-only for it, and only /tmp its own.
Each Box is then a root folder on a tmpfs: the machine's programs, the tool's copy, everything else a fixture. The tool is
started with that root. The tests see what it did through the same tmpfs.
"""
import collections
import contextlib
import ctypes
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
import zipfile

sys.path.append(os.path.dirname(os.path.abspath(__file__)) + "/../support")
from confined import confine, is_confined  # noqa: E402

MS_RDONLY, MS_REMOUNT, MS_BIND, MS_REC, MNT_DETACH = 1, 32, 4096, 16384, 2
os.environ["PATH"] += ":/usr/sbin"  # chroot is there, and not on every user's path
libc = ctypes.CDLL(None, use_errno=True)

TOOL = os.environ.setdefault("LOGTOOL", str(pathlib.Path(__file__).parents[2] / "build/release/LogCollectionTool"))
MADE = os.path.dirname(TOOL) + "/tests/e2e/"  # the programs that belong to these tests
MACOS_COMMANDS = MADE + "macos_commands"
SHORT_LIMITS = MADE + "short_limits"  # the same tool, which waits some seconds only for what hangs
LIMIT = 60 if "MUTATE_CONFINED" in os.environ else 180  # seconds for a run and what a test does meanwhile
ROOT_DIR, SCRATCH = "/tmp/oBrelaLog", "/tmp/oBrelaLog/logFiles"
SHARED = "/Library/Application Support/oBrela"
OWN_LOG = "/Users/root" + SHARED + "/logs/LogColltionTool.log"
LOGS = "/Users/ada" + SHARED + "/logs/"
UEM_LOGS = "/Library/Application Support/uem/logs/quelmarlogs/"
APP = "/Library/quelmar/SDP/oBrela.app/Contents/Resources/app"
LAUNCHD = "/var/log/com.apple.xpc.launchd/launchd.log"
PORT_FILE = SHARED + "/var/run/debugserver"
MIB = 1 << 20
PROGRAMS = ["/" + name for name in os.listdir("/") if re.fullmatch("usr|s?bin|lib[0-9x]*", name)]  # the machine's
LIMITS = {resource.RLIMIT_NOFILE: (256, 20000), resource.RLIMIT_CORE: (0, 0)}  # what every tool here starts with
PS = "1 loginwindow\n2 oBrelaAgent\n3 FernGateway\n4 QMUem\n5 grep QMUem oBrela FernGateway loginwindow\n"
# Each fake prints its arguments, and two words that let it pass the tool's greps; cat and grep are the real ones.
FAKES = ("open log journalctl uname ip who loginctl systemctl ls sysctl csrutil kextstat plutil ifconfig netstat "
         "launchctl ps chmod").split()
GATE = "[ -p /gate ] && cat /gate\n"  # a fake command that waits here goes on after `held`

Result = collections.namedtuple("Result", "out err")


def mount(source, target, kind=None, flags=0, data=None):
    texts = [None if text is None else os.fsencode(text) for text in (source, target, kind, data)]
    if libc.mount(*texts[:3], ctypes.c_ulong(flags), texts[3]) != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()), target)


def volume(size):
    """A function that makes a volume of so many bytes at a path."""
    return lambda where: (os.mkdir(where), mount("tmpfs", where, "tmpfs", 0, "size=%d" % size))


def link(target):
    return lambda where: os.symlink(target, where)


def no_shell(box):
    """For runs in which no command can be started, and which are quicker therefore."""
    mount("/dev/null", box.path(os.path.realpath("/bin/sh")), None, MS_BIND)


def processes(root=None):
    """The folders in /proc of all that runs in the box with this root folder, or in any."""
    found = []
    for folder in glob.glob("/proc/[0-9]*"):
        with contextlib.suppress(OSError):  # it has ended
            at = os.readlink(folder + "/root")
            found += [folder] * (at == root if root else at != "/")
    return found


def at_rest(root):
    """What the threads of all processes in this box have done so far, once all of them wait for something; else None."""
    tasks = [task for folder in processes(root) for task in glob.glob(folder + "/task/*/status")]
    with contextlib.suppress(OSError):  # one has ended
        found = [re.findall(r"^State:\t\w|^\w*voluntary.*", pathlib.Path(task).read_text(), re.MULTILINE) for task in tasks]
        return None if any("State:\tR" in one for one in found) else found


def until(condition):
    """Waits for a condition, at most until the alarm; returns what it was at last."""
    while not (value := condition()):
        time.sleep(0.001)
    return value


def give_up(*_):
    """Ends the wait that a test is in, whatever it waits for, and every process that may be the reason."""
    left = processes()
    for folder in left:
        os.kill(int(folder[6:]), signal.SIGKILL)
    raise AssertionError("not done after %d seconds; processes: %s" % (LIMIT, left))


def has_second_user():
    """Tells whether other users' ids are mapped here (see man subuid). In CI they must be."""
    found = sum(map(int, pathlib.Path("/proc/self/uid_map").read_text().split()[2::3])) > 1
    assert found or os.environ.get("CI") != "true", "there is no second user here"
    return found


def failing(calls, path, error, first=1):
    """The environment in which these calls of the tool's fail on paths like this one: see failing_calls.cpp."""
    names = calls.split() + [name + "64" for name in calls.split()]
    return {"LD_PRELOAD": "/fakes/failing_calls.so", "FAIL_CALL": ",%s," % ",".join(names), "FAIL_PATH": path,
            "FAIL_ERRNO": str(error), "FAIL_FROM": str(first)}


@contextlib.contextmanager
def held(box):
    """Waits until something has come to the gate, and lets it and all later ones go on afterwards."""
    def opened():
        with contextlib.suppress(OSError):
            return os.open(box.path("/gate"), os.O_WRONLY | os.O_NONBLOCK)

    gate = until(opened)
    until(lambda: (seen := at_rest(box.root)) and (time.sleep(0.02), at_rest(box.root))[1] == seen)
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
        mount("tmpfs", self.root, "tmpfs", 0, "size=9g,mode=755")
        for folder in "/fakes /opt/tool /var/log /run /Library /System /Users /tmp /dev".split():
            os.makedirs(self.path(folder))
        os.chmod(self.path("/tmp"), 0o1777)
        for path in PROGRAMS + "/proc /dev/null /dev/zero /dev/full /dev/urandom".split():
            self.put(path, link(os.readlink(path))) if os.path.islink(path) else self.bind(path)
        self.put("/etc/ld.so.cache", lambda where: shutil.copy("/etc/ld.so.cache", where))
        shutil.copy(tool, self.path("/opt/tool/LogCollectionTool"))
        self.bind(MADE + "libfailing_calls.so", "/fakes/failing_calls.so")
        self.put("/etc/passwd", "root:x:0:0::/root:/bin/sh\n%s:x:1000:1000::/:/bin/sh\n" % console)
        self.put("/etc/os-release", "NAME=box\n")
        self.put("/etc/resolv.conf", "nameserver 192.0.2.1\n")
        if console:
            self.put("/run/systemd/seats/seat0", "IS_SEAT0=1\nACTIVE=c1\nACTIVE_UID=1000\n")
        shell = os.path.realpath("/bin/sh")
        self.put("/fakes/sh", lambda where: shutil.copy(shell, where))
        mount(MADE + "recording_shell", self.path(shell), None, MS_BIND)
        self.put("/started", mode=0o666)  # see recording_shell.cpp
        bodies = dict.fromkeys(FAKES, 'printf "${0##*/}:"; printf " [%s]" "$@"; echo " (oBrela utun7)"')
        bodies.update({"chmod": 'exec /bin/chmod "$@"', "ps": "printf '%s' '" + PS + "'"}, **dict(fakes))
        for name, body in bodies.items():
            self.put("/fakes/" + name, "#!/fakes/sh\n" + body + "\n", mode=0o755)

    def close(self):
        signal.alarm(0)
        libc.umount2(self.root.encode(), MNT_DETACH)
        os.rmdir(self.root)

    def path(self, path):
        return self.root + path

    def bind(self, source, target=None):
        """Shows a folder or a file of the machine in the box: read-only, since it is so for the tests."""
        self.put(target or source, os.mkdir if os.path.isdir(source) else "")
        mount(source, self.path(target or source), None, MS_BIND | MS_REC)

    def put(self, path, what="", size=None, age=None, mode=0o644):
        """Makes what a function makes of a path (os.mkdir, ...), or a file of this text or size; None: removes the file. `age`
        is in seconds before now."""
        where = self.path(path)
        os.makedirs(os.path.dirname(where), exist_ok=True)
        if what is None or callable(what):
            return what(where) if what else os.remove(where)
        with open(where, "wb") as file:
            file.write(b"" if isinstance(what, int) else what if isinstance(what, bytes) else what.encode())
            file.truncate(what if isinstance(what, int) else size)
        os.utime(where, None if age is None else (time.time() - age,) * 2)
        os.chmod(where, mode)

    def read(self, path):
        return pathlib.Path(self.path(path)).read_bytes()

    def start(self, *arguments, argv0="/opt/tool/LogCollectionTool", shell=None, user=None, env=(), files=None, umask=0o22):
        """Starts the tool; `shell` is a shell line that ends in running "$@"; `files` take its output and errors."""
        signal.alarm(LIMIT)
        command = ["chroot"] + (["--userspec=%d:%d" % (user, user)] if user else []) + [self.root]
        command += ["/fakes/sh", "-c", shell, "sh"] if shell else []
        environment = {k: v for k, v in os.environ.items() if k.endswith("SAN_OPTIONS")}
        # The thread sanitizer would leave its trace in TMPDIR, and /proc takes none.
        environment.update({"TMPDIR": "/proc", "PATH": "/fakes:/opt/tool:/usr/sbin:/usr/bin:/sbin:/bin",
                            "LC_ALL": "C", "TZ": "UTC", "HOME": "/home/some" if user else "/root"}, **dict(env))
        files = files or (tempfile.TemporaryFile(), tempfile.TemporaryFile())

        def prepare():
            os.umask(umask)
            for limit, values in LIMITS.items():
                resource.setrlimit(limit, values)
            for number in signal.SIGHUP, signal.SIGINT, signal.SIGQUIT, signal.SIGTERM:
                signal.signal(number, signal.SIG_DFL)  # a shell ignores some for what it runs in the background

        process = subprocess.Popen(command + [argv0, *arguments], env=environment, stdin=subprocess.DEVNULL,
                                   stdout=files[0], stderr=files[1], start_new_session=True, preexec_fn=prepare)
        process.files = files
        return process

    def finish(self, process, status=0):
        """Waits for the tool alone: commands that it left running are no reason to wait, and are ended here. Any `status`: None."""
        process.wait()
        with contextlib.suppress(ProcessLookupError):
            os.killpg(process.pid, signal.SIGKILL)
        texts = [(file.seek(0), file.read().decode(errors="surrogateescape"), file.close())[1] for file in process.files]
        if status not in (process.returncode, None) or re.search("Sanitizer|runtime error:", texts[1]):
            raise AssertionError("ended with %d, not %d\n%s%s" % (process.returncode, status, *texts))
        return Result(*texts)

    def run(self, *arguments, status=0, **how):
        return self.finish(self.start(*arguments, **how), status)

    def archives(self, folder=ROOT_DIR):
        return sorted(n for n in os.listdir(self.path(folder)) if n.startswith("oBrelaLog_"))

    def zip(self, folder=ROOT_DIR, name=None):
        """Content of the newest archive, or of that name, by entry name; reading an entry verifies its checksum."""
        with zipfile.ZipFile(self.path(folder + "/" + (name or self.archives(folder)[-1]))) as archive:
            return {i.filename.encode("utf-8" if i.flag_bits & 0x800 else "cp437").decode(errors="surrogateescape"):
                    archive.read(i) for i in archive.infolist()}


class Server(socketserver.ThreadingTCPServer):
    """A peer on loopback. `answer` is the bytes to send, or is called with the connection."""
    daemon_threads = allow_reuse_address = True

    def __init__(self, answer, port=0):
        self.answer, self.requests = answer, []
        super().__init__(("127.0.0.1", port), None)
        self.port = self.server_address[1]
        threading.Thread(target=self.serve_forever, args=(0.01,), daemon=True).start()

    def finish_request(self, request, client_address):
        self.requests.append(request.recv(65536))
        with contextlib.suppress(OSError):  # the tool hung up
            self.answer(request) if callable(self.answer) else request.sendall(self.answer)

    def server_close(self):
        self.shutdown()
        super().server_close()


class Case(unittest.TestCase):
    maxDiff = None

    def box(self, **options):
        box = Box(**options)
        self.addCleanup(box.close)
        return box

    def need_second_user(self):
        has_second_user() or self.skipTest("there is no second user here")

    def server(self, answer, port=0):
        server = Server(answer, port)
        self.addCleanup(server.server_close)
        return server


if __name__ == "__main__":
    confine()
    signal.signal(signal.SIGALRM, give_up)
    unittest.main(sys.argv.pop(1), failfast="MUTATE_CONFINED" in os.environ)  # the runner of faults needs one failure

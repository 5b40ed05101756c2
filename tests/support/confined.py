#!/usr/bin/env python3
"""confined.py [--nesting] [--plain] [--writable PATH] COMMAND...: runs a command where it cannot harm the machine.

All files are read-only for it, but what is below PATH; /tmp, /run, /dev, processes and network (loopback) are its own. It
is root of its namespaces, and may mount; with --plain root has no more rights on files than their owner. With --nesting,
tests that it starts confine themselves once more. Where namespaces are not to be had, a command with --plain is run as an
ordinary user, and another one is not: that ends with 77. When CI is "true", both end with 1.
"""
import ctypes
import fcntl
import os
import pathlib
import signal
import socket
import stat
import struct
import sys

# Of Linux: mounts, ipc, processes and network; and users.
NAMESPACES, NEWUSER = 0x20000 | 0x8000000 | 0x20000000 | 0x40000000, 0x10000000
MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC, MS_REMOUNT, MS_BIND, MS_REC, MS_PRIVATE = 1, 2, 4, 8, 32, 4096, 16384, 1 << 18
AT_RECURSIVE, SYS_MOUNT_SETATTR, SIOCSIFFLAGS, UP_AND_RUNNING = 0x8000, 442, 0x8914, 0x41
PR_SET_PDEATHSIG, PR_SET_NAME, PR_SET_SECUREBITS, NO_ROOT_AND_LOCKED, CAPABILITY_VERSION_3 = 1, 15, 28, 3, 0x20080522
libc = ctypes.CDLL(None, use_errno=True)


def call(function, *arguments):
    """Calls a function of the C library; a negative result is an OSError that names the texts among the arguments."""
    if getattr(libc, function)(*arguments) < 0:
        texts = [os.fsdecode(x) for x in arguments if isinstance(x, bytes)]
        raise OSError(ctypes.get_errno(), " ".join([function, *texts, os.strerror(ctypes.get_errno())]))


def mount(source, target, kind=None, flags=0, data=None):
    texts = [None if x is None else os.fsencode(x) for x in (source, target, kind, data)]
    call("mount", *texts[:3], ctypes.c_ulong(flags), texts[3])


def set_mount(path, depth, to_set, to_clear):
    """Sets and clears attributes of the mount at a path, in this namespace only; depth: 0 or AT_RECURSIVE."""
    attributes = struct.pack("4Q", to_set, to_clear, MS_PRIVATE, 0)
    call("syscall", SYS_MOUNT_SETATTR, -1, os.fsencode(path), depth, ctypes.c_char_p(attributes), ctypes.c_size_t(32))


def cover(folder, names, paths):
    """Mounts an empty folder over this one; the entries `names`, and those that `paths` lead through, stay visible."""
    inside = (path[len(folder) + 1:].split("/")[0] for path in paths if path.startswith(folder + "/"))
    kept = {folder + "/" + name: os.open(folder + "/" + name, os.O_PATH)
            for name in {*names, *inside} if os.path.exists(folder + "/" + name)}
    mount("tmpfs", folder, "tmpfs", MS_NOSUID | MS_NODEV, "mode=1777")
    for path, entry in kept.items():
        os.mkdir(path) if stat.S_ISDIR(os.fstat(entry).st_mode) else os.mknod(path)
        mount("/proc/self/fd/%d" % entry, path, None, MS_BIND | MS_REC)
        os.close(entry)


def enclose(writable, command):
    """In the new namespaces: makes files read-only and covers folders."""
    here = os.getcwd()
    needed = [os.path.realpath(path) for path in (here, __file__, command, writable) if path]
    set_mount("/", AT_RECURSIVE, MS_RDONLY | MS_NOSUID, 0)
    if writable:
        mount(needed[-1], needed[-1], None, MS_BIND | MS_REC)
        set_mount(needed[-1], 0, 0, MS_RDONLY)
    for folder in "/tmp", "/run":
        cover(os.path.realpath(folder), [], needed)
    cover("/dev", "null zero full random urandom tty".split(), needed)
    os.mkdir("/dev/pts")
    mount("devpts", "/dev/pts", "devpts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=666")
    os.symlink("pts/ptmx", "/dev/ptmx")
    os.chdir(here)
    os.environ["TMPDIR"] = "/tmp"
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as network:
        fcntl.ioctl(network, SIOCSIFFLAGS, struct.pack("16sH22x", b"lo", UP_AND_RUNNING))
    # Last: until here /proc/self of the old mount is needed.
    mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC | MS_RDONLY)


def wait_for(child):
    """Waits until the child has ended, passing on the signals meant for it, and reaps others; returns its wait status."""
    for number in signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT:
        signal.signal(number, lambda received, _: os.kill(child, received))
    while (ended := os.wait())[0] != child:
        pass
    return ended[1]


def make_namespaces():
    maps = (("setgroups", "deny"), ("gid_map", "0 %d 1" % os.getegid()), ("uid_map", "0 %d 1" % os.geteuid()))
    try:
        call("unshare", NAMESPACES)
    except OSError:  # not root: then as root of a namespace of users
        call("unshare", NAMESPACES | NEWUSER)
        for name, text in maps:
            pathlib.Path("/proc/self", name).write_text(text)


def run_unconfined(why, plain):
    """Goes on as an ordinary user; ends the process where that will not do."""
    sys.stderr.write("These tests are not confined: %s.\n" % why)
    if os.environ.get("CI") == "true":
        sys.exit(1)
    if not plain:
        sys.exit(77)
    if os.geteuid() == 0:  # an error ends it: then nothing is run
        for change, to in (os.setgroups, []), (os.setgid, 65534), (os.setuid, 65534):
            change(to)
    os.environ["UNCONFINED"] = "1"


def confine(command=None, writable=None, plain=False, nesting=False):
    """Returns in a child of process 1 of the new namespaces; this process waits and ends with its status, 128 + N after signal N."""
    if sys.platform != "linux":
        return run_unconfined("this system has no namespaces", plain)
    if pathlib.Path("/proc/1/comm").read_text() == "confined\n":
        return None
    signal.signal(signal.SIGCHLD, signal.SIG_DFL)
    reader, writer = os.pipe()
    try:
        make_namespaces()
    except OSError as failure:
        return run_unconfined(failure, plain)
    first = os.fork()
    if first:
        os.close(writer)
        ended, told = wait_for(first), os.read(reader, 1000).decode()
        if told[:1] == "!":
            return run_unconfined(told[1:], plain)
        code = os.waitstatus_to_exitcode(int(told or ended))
        os._exit(code if code >= 0 else 128 - code)
    try:
        call("prctl", PR_SET_PDEATHSIG, signal.SIGKILL)
        os.setsid()  # a signal to the process group of the test stays in here as well
        enclose(writable, command)
        call("prctl", PR_SET_NAME, b"nesting" if nesting else b"confined")
        child = os.fork()
        if child == 0 and plain:  # no capability, and none again for programs that root executes
            call("prctl", PR_SET_SECUREBITS, NO_ROOT_AND_LOCKED)
            call("capset", ctypes.c_char_p(struct.pack("2I", CAPABILITY_VERSION_3, 0)), ctypes.c_char_p(bytes(24)))
    except OSError as failure:
        os.write(writer, b"!%s" % str(failure).encode())
        os._exit(1)
    if child == 0:
        return [os.close(end) for end in (reader, writer)]
    os.write(writer, b"%d" % wait_for(child))
    os._exit(0)  # and with it ends whatever is left in here


if __name__ == "__main__":
    words, given = sys.argv[1:], {"--writable": None}
    while words[0].startswith("--"):
        option = words.pop(0)
        given[option] = words.pop(0) if option == "--writable" else True
    confine(words[0], given["--writable"], "--plain" in given, "--nesting" in given)
    os.execvp(words[0], words)

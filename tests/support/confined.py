#!/usr/bin/env python3
"""confined.py [--nesting] [--plain] [--terminal] [--writable PATH] COMMAND...: runs it where it can harm nothing.

Bubblewrap does it: all files are read-only but what is below PATH; /tmp, /run, /dev, processes and network (loopback)
are the command's own. It is root there, and may mount; with --plain it has no more rights on files than their owner.
With --nesting, tests that it starts confine themselves once more. With --terminal, Ctrl-C in the terminal is the
command's: for a debugger. Where the machine can confine nothing, a command with --plain is run as an ordinary user, and
another one is not: that ends with 77. When CI is "true", both end with 1.
"""
import os
import re
import shutil
import signal
import subprocess
import sys


def is_confined():
    """Tells whether this has been done already, or cannot be. The environment alone would not do for root."""
    return "CONFINED" in os.environ and not os.access("/", os.W_OK)


def bubblewrap(command, writable, plain, nesting):
    """The command line that runs this one confined."""
    words = ("bwrap --ro-bind / / --dev /dev --proc /proc --unshare-pid --unshare-net --unshare-ipc --die-with-parent "
             "--new-session --setenv TMPDIR /tmp --cap-%s ALL" % ("drop" if plain else "add")).split()
    needed = [os.path.realpath(path) for path in (os.getcwd(), __file__, command[0], os.environ.get("LOGTOOL", "/"))]
    for folder in map(os.path.realpath, ("/tmp", "/run")):
        words += ["--tmpfs", folder]
        for top in {re.match(folder + "/[^/]+|", path)[0] for path in needed} - {""}:
            words += ["--ro-bind", top, top]
    words += ["--bind", writable, writable] if writable else []
    words += ["--unsetenv", "CONFINED"] if nesting else ["--setenv", "CONFINED", "yes"]
    return words + ["--chdir", os.getcwd()]


def run_unconfined(why, command, plain):
    """Becomes this command as an ordinary user's; ends the process where that will not do."""
    sys.stderr.write("These tests are not confined: %s.\n" % why)
    if os.environ.get("CI") == "true":
        sys.exit(1)
    if not plain:
        sys.exit(77)
    os.environ["CONFINED"] = "no"
    program = shutil.which(command[0])
    if os.geteuid() == 0:
        if os.execve in os.supports_fd:  # opened by root, since the user may not be allowed into the folder
            program = os.open(program, os.O_RDONLY)
            os.set_inheritable(program, True)  # an interpreter reads its script through it
        os.setgroups([])  # an error in these ends this: then nothing is run
        os.setgid(65534)
        os.setuid(65534)
    os.execve(program, command, os.environ)


def run(command, writable=None, plain=False, nesting=False, terminal=False):
    """Becomes this command, confined; its status is the command's, 128 + N after signal N."""
    why = "this system has no namespaces"
    root_of_namespace = ["--unshare-user", "--uid", "0", "--gid", "0"]
    words = bubblewrap(command, writable and os.path.realpath(writable), plain, nesting)
    # An ordinary user's namespace has other users in it only where the machine gives this user ids for them.
    ways = [words, words + root_of_namespace] if os.geteuid() == 0 else [
        ["unshare", "--user", "--map-root-user", "--map-auto", *words], words + root_of_namespace]
    for way in ways * (sys.platform == "linux"):
        try:
            subprocess.run(way + ["true"], check=True, stderr=subprocess.PIPE, text=True)
        except FileNotFoundError:
            why = "bubblewrap is not installed"
        except subprocess.CalledProcessError as failure:
            why = failure.stderr.strip()
        else:
            if terminal:  # bubblewrap, which Ctrl-C would end together with the command, ignores it
                way.remove("--new-session")
                command = ["env", "--default-signal=INT", *command]
                signal.signal(signal.SIGINT, signal.SIG_IGN)
            os.execvp(way[0], way + command)
    run_unconfined(why, command, plain)


def confine(writable=None):
    """Runs this script again, confined; returns when that has been done."""
    if not is_confined():
        run([sys.executable, "-B", *sys.argv], writable)


if __name__ == "__main__":
    rest, given = sys.argv[1:], {"--writable": None}
    while rest[0].startswith("--"):
        option = rest.pop(0)
        given[option] = rest.pop(0) if option == "--writable" else True
    run(rest, given["--writable"], *("--" + name in given for name in ("plain", "nesting", "terminal")))

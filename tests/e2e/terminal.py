"""A terminal for programs under test: a pseudo-terminal, and what a person would see on it."""
import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios
import time

sys.path.append("/usr/lib/python3/dist-packages")  # where Debian has pyte, whichever Python runs this
import pyte  # noqa: E402


class Terminal:
    def __init__(self, columns=100):
        self.master, self.slave = pty.openpty()
        self.descriptors = [self.master, self.slave]
        self.name, self.raw, self.screen = os.ttyname(self.slave), b"", pyte.Screen(columns, 24)
        self.stream = pyte.ByteStream(self.screen)
        self.resize(columns)

    def resize(self, columns):
        self.screen.resize(columns=columns)
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))

    def close(self):
        while self.descriptors:
            os.close(self.descriptors.pop())

    def read(self, seconds):
        """Takes in what is there, waiting at most so long for the first of it; false when nothing came."""
        if not select.select([self.master], [], [], seconds)[0]:
            return False
        data = os.read(self.master, 65536)
        self.raw += data
        self.stream.feed(data)
        return True

    def lines(self):
        return [row.rstrip() for row in self.screen.display if row.strip()]

    def wait_for(self, pattern, seconds=60):
        """Reads until the pattern is to be seen; returns the match."""
        limit = time.monotonic() + seconds
        while not re.search(pattern, "\n".join(self.lines()), re.MULTILINE):
            if time.monotonic() > limit:
                raise AssertionError("no %r on the terminal:\n%s" % (pattern, "\n".join(self.lines())))
            self.read(1)
        return re.search(pattern, "\n".join(self.lines()), re.MULTILINE)

    def rest(self):
        """Everything that was written and not yet read; returns the lines that are seen in the end."""
        while self.read(0):
            pass
        return self.lines()

"""A terminal for programs under test: a pseudo-terminal, and what a person would see on it."""
import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios

sys.path.append("/usr/lib/python3/dist-packages")  # where Debian has pyte, whichever Python runs this
import pyte  # noqa: E402


class Terminal:
    def __init__(self, columns=100):
        self.master, self.slave = pty.openpty()
        self.descriptors = [self.master, self.slave]
        self.name, self.screen = os.ttyname(self.slave), pyte.Screen(columns, 24)
        self.stream = pyte.ByteStream(self.screen)
        self.resize(columns)

    def resize(self, columns):
        self.screen.resize(columns=columns)
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))

    def close(self):
        while self.descriptors:
            os.close(self.descriptors.pop())

    def lines(self):
        return [row.rstrip() for row in self.screen.display if row.strip()]

    def rest(self):
        """Everything that was written and not yet read; returns the lines that are seen in the end."""
        while self.descriptors and select.select([self.master], [], [], 0)[0]:
            self.stream.feed(os.read(self.master, 65536))
        return self.lines()

    def wait_for(self, pattern):
        """Reads until the pattern is to be seen, at most until the alarm."""
        while not re.search(pattern, "\n".join(self.rest()), re.MULTILINE):
            select.select([self.master], [], [], 1)

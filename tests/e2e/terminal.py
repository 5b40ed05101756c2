"""A terminal for programs under test: a pseudo-terminal, and what a person would see on it."""
import fcntl
import os
import pty
import select
import struct
import sys
import termios

sys.path.append("/usr/lib/python3/dist-packages")  # where Debian has pyte, whichever Python runs this
import pyte  # noqa: E402


class Terminal:
    def __init__(self, columns=100):
        self.master, self.slave = self.descriptors = pty.openpty()
        self.name, self.screen = os.ttyname(self.slave), pyte.Screen(columns, 24)
        self.stream = pyte.ByteStream(self.screen)
        self.resize(columns)

    def resize(self, columns):
        self.screen.resize(columns=columns)
        fcntl.ioctl(self.slave, termios.TIOCSWINSZ, struct.pack("4H", 24, columns, 0, 0))

    def close(self):
        for descriptor in self.descriptors:
            os.close(descriptor)
        self.descriptors = ()

    def lines(self):
        """What is seen now, everything that was written until now included."""
        while self.descriptors and select.select([self.master], [], [], 0)[0]:
            self.stream.feed(os.read(self.master, 65536))
        return [row.rstrip() for row in self.screen.display if row.strip()]

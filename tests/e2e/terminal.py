"""A terminal for programs under test: a pseudo-terminal, and what a person would see on it."""
import fcntl
import os
import pty
import re
import select
import struct
import termios
import time


class Terminal:
    def __init__(self, columns=100):
        self.master, self.slave = pty.openpty()
        self.descriptors = [self.master, self.slave]
        self.name = os.ttyname(self.slave)
        self.rows, self.row, self.column, self.raw = [""], 0, 0, b""
        self.resize(columns)

    def resize(self, columns):
        self.rows = [row[:columns] for row in self.rows]
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
        for piece in re.findall(r"\x1b\[\d*[A-Za-z]|\r|\n|[^\r\n\x1b]+", data.decode()):
            self.show(piece)
        return True

    def show(self, piece):
        """Rows are as long as what is written to them: what is too wide is seen to be so."""
        if piece == "\r":
            self.column = 0
        elif piece == "\n":
            self.row += 1
            self.rows += [""] * (self.row == len(self.rows))
        elif piece == "\x1b[2A":
            self.row -= 2
        elif piece == "\x1b[J":
            self.rows[self.row:] = [self.rows[self.row][:self.column]]
        else:
            row, end = self.rows[self.row].ljust(self.column), self.column + len(piece)
            self.rows[self.row], self.column = row[:self.column] + piece + row[end:], end

    def lines(self):
        return [row.rstrip() for row in self.rows if row.strip()]

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

"""What a person at a terminal sees while a run goes on; what it leaves there is in scenarios."""
import os
import pathlib
import re
import termios

import sandbox
import terminal

RESULT = r"\d+\.\d MiB, \d+ files, \d+ s"
ALL_RUNNING = "waiting for system information, running logs"


class Progress(sandbox.Case):
    def start(self, shell='exec "$@" 2<>%s', content="some text"):
        """A run on a terminal, as far as its reports, which wait until they are let go."""
        self.terminal = terminal.Terminal()
        self.addCleanup(self.terminal.close)
        self.tool_box = self.box(fakes={"uname": "exec 2>&-; read line </go_info", "journalctl": "exec 2>&-; read line </go_logs", "open": ""})
        self.tool_box.bind("/dev/pts")
        for fifo in "/go_info", "/go_logs":
            self.tool_box.make(os.mkfifo, fifo)
        self.tool_box.put(sandbox.UEM_LOGS + "agent.log", content)
        started = self.tool_box.start(shell=shell % self.terminal.name, env={"TERM": "xterm"})
        self.terminal.wait_for(ALL_RUNNING)
        return started

    def let_go(self, *fifos):
        for fifo in fifos or ("/go_info", "/go_logs"):
            pathlib.Path(self.tool_box.path(fifo)).write_text("\n")

    def test_it_shows_each_stage_however_narrow_the_terminal(self):
        processors = os.sched_getaffinity(0)
        os.sched_setaffinity(0, {min(processors)})  # one of them packs this much long enough to be seen
        started = self.start(content=os.urandom(48 << 20))
        os.sched_setaffinity(0, processors)
        for columns in 60, 20, 9, 100:
            self.terminal.resize(columns)
            self.terminal.wait_for(r"^\d+ s%s$" % ("  " + ALL_RUNNING)[:columns - 4])  # as far as there is room
        self.let_go("/go_info")
        self.terminal.wait_for(r"^\d+ s  system information done\n\d+ s  waiting for running logs$")
        self.let_go("/go_logs")
        self.terminal.wait_for(r"^\d+ s  waiting for packing$")
        self.tool_box.finish(started)
        self.terminal.wait_for("^%s$" % RESULT)
        archive = self.tool_box.path(sandbox.ROOT_DIR + "/" + self.tool_box.archives()[0])
        self.assertRegex(self.terminal.lines()[-1], "^%.1f MiB, %d files, " % (
            os.path.getsize(archive) / sandbox.MIB, len(self.tool_box.zip())))

    def test_a_terminal_that_stops_or_goes_away_holds_up_nobody(self):
        for end in lambda: termios.tcflow(self.terminal.slave, termios.TCOOFF), lambda: self.terminal.close():
            started = self.start(shell='trap "" HUP; exec "$@" 2<>%s')
            end()
            self.let_go()
            self.tool_box.finish(started)
            self.assertEqual(len(self.tool_box.archives()), 1)

"""What a person at a terminal sees while a run goes on; what it leaves there is in scenarios."""
import os
import pathlib
import termios

import sandbox
import terminal

ALL_RUNNING = "waiting for system information, running logs"


class Progress(sandbox.Case):
    def start(self, shell='exec "$@" 2<>%s', content="some text"):
        """A run on a terminal, as far as its reports, which wait until they are let go."""
        self.terminal = terminal.Terminal()
        self.addCleanup(self.terminal.close)
        self.files = self.box(fakes={"uname": "exec 2>&-; read line </go_info", "journalctl": "exec 2>&-; read line </go_logs"})
        self.files.bind("/dev/pts")
        for path, what in ("/go_info", os.mkfifo), ("/go_logs", os.mkfifo), (sandbox.UEM_LOGS + "agent.log", content):
            self.files.put(path, what)
        process = self.files.start(shell=shell % self.terminal.name, env={"TERM": "xterm"})
        self.terminal.wait_for(ALL_RUNNING)
        return process

    def let_go(self, *fifos):
        for fifo in fifos:
            pathlib.Path(self.files.path(fifo)).write_text("\n")

    def test_it_shows_each_stage_however_narrow_the_terminal(self):
        processors = os.sched_getaffinity(0)
        os.sched_setaffinity(0, {min(processors)})  # one of them packs this much long enough to be seen
        process = self.start(content=os.urandom(16 << 20))
        os.sched_setaffinity(0, processors)
        for columns in 60, 20, 9, 100:
            self.terminal.resize(columns)
            self.terminal.wait_for(r"^\d+ s%s$" % ("  " + ALL_RUNNING)[:columns - 4])  # as far as there is room
        self.let_go("/go_info")
        self.terminal.wait_for(r"^\d+ s  system information done\n\d+ s  waiting for running logs$")
        self.let_go("/go_logs")
        self.terminal.wait_for(r"^\d+ s  waiting for packing$")
        self.files.finish(process)
        size = os.path.getsize(self.files.path(sandbox.ROOT_DIR + "/" + self.files.archives()[0]))
        self.terminal.wait_for(r"^%.1f MiB, %d files, \d+ s$" % (size / sandbox.MIB, len(self.files.zip())))

    def test_a_terminal_that_stops_or_goes_away_holds_up_nobody(self):
        for end in lambda: termios.tcflow(self.terminal.slave, termios.TCOOFF), lambda: self.terminal.close():
            process = self.start(shell='trap "" HUP; exec "$@" 2<>%s')
            end()
            self.let_go("/go_info", "/go_logs")
            self.files.finish(process)
            self.assertEqual(len(self.files.archives()), 1)

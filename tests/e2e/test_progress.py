"""What a person at a terminal sees of a run, and nobody else: the line while it goes on, the result at its end."""
import os
import pathlib
import re
import signal
import termios

import sandbox
import terminal

NO_PORT_FILE = r"\[LogCollectionTool:getServicePortViaPath:\d+\]: argument not found"
SLOW = "sleep 1"  # a command that takes longer than the line takes to appear
RESULT = r"/tmp/oBrelaLog/oBrelaLog_2\.5\.16\.20_\d{14}\.zip", r"\d+\.\d MiB, \d+ files, \d+ s"
ALL_RUNNING = r"system information: running, tunnel dump: done, running logs: running"


class Progress(sandbox.Case):
    def start(self, *arguments, seen=ALL_RUNNING, shell='exec "$@" 2<>%s', term="xterm", content="some text", argv0=None,
              **fakes):
        """A run on a terminal, as far as it can be `seen`: its reports wait until they are let go."""
        self.terminal = terminal.Terminal()
        self.addCleanup(self.terminal.close)
        gates = {"uname": "exec 2>&-; read line </go_info", "journalctl": "exec 2>&-; read line </go_logs", "open": ""}
        self.tool_box = self.box(fakes={**gates, **fakes})
        self.tool_box.bind("/dev/pts")
        for fifo in "/go_info", "/go_logs":
            self.tool_box.make(os.mkfifo, fifo)
        self.tool_box.put(sandbox.UEM_LOGS + "agent.log", content)
        started = self.tool_box.start(*arguments, shell=shell % self.terminal.name, env={"TERM": term},
                                      argv0=argv0 or "/opt/tool/LogCollectionTool")
        self.terminal.wait_for(seen)
        return started

    def let_go(self, *fifos):
        for fifo in fifos or ("/go_info", "/go_logs"):
            pathlib.Path(self.tool_box.path(fifo)).write_text("\n")

    def finish(self, started, *messages, status=0):
        """Ends the run; nothing but the messages may be left on the terminal, each line whole."""
        self.tool_box.finish(started, status)
        self.terminal.wait_for("^%s$" % messages[-1])
        self.assertRegex("\n".join(self.terminal.rest()), r"\A%s\Z" % "\n".join(messages))

    def test_it_shows_each_stage_however_narrow_the_terminal(self):
        processors = os.sched_getaffinity(0)
        os.sched_setaffinity(0, {min(processors)})  # one of them packs this much long enough to be seen
        started = self.start(content=os.urandom(48 << 20))
        os.sched_setaffinity(0, processors)
        for columns, text in ((60, "  waiting for system information, running logs"), (20, "  1 of 3 done"), (9, ""),
                              (100, "  " + ALL_RUNNING)):
            self.terminal.resize(columns)
            self.terminal.wait_for(r"^\d+ s%s$" % text)
        self.let_go("/go_info")
        self.terminal.wait_for("system information: done, tunnel dump: done, running logs: running")
        self.let_go("/go_logs")
        first = self.terminal.wait_for(r"\d s  packing, (\d+\.\d) MiB so far")[1]
        self.terminal.wait_for(r"packing, (?!%s M)\d+\.\d MiB so far" % first)
        self.finish(started, r"\[LogColle", *RESULT)
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

    def test_what_an_interrupted_run_says(self):
        whole = "shown", "interrupted; the archive is complete", *RESULT
        for term, reveal, result in (("xterm", "", ["interrupted; no archive"]), ("dumb", "", ["interrupted; no archive"]),
                                     ("xterm", "echo shown >&2; exec 2>&-; read line </go_info", whole)):
            with self.subTest(term=term, reveal=reveal):
                started = self.start(term=term, open=reveal)
                if reveal:
                    self.let_go()
                    self.terminal.wait_for("^shown$")
                os.write(self.terminal.master, b"\x03")
                self.finish(started, NO_PORT_FILE, *result, status=-signal.SIGINT)
                sandbox.wait_until_alone()

    def test_runs_without_a_progress_line(self):
        """(arguments, how it is started) -> what is on the terminal in the end, and the status."""
        for arguments, how, messages, status in (
                (["--quiet"], {}, [NO_PORT_FILE], 0),
                ([], {"shell": """exec 2<>%s; exec bash -mc '"$@" & wait' bash "$@" """},  # in the background
                 [NO_PORT_FILE, *RESULT[:1], RESULT[1] + r"(\n\[1\].*Done.*)?"], 0),  # the last is the shell's, of some versions
                ([], {"argv0": "LogCollectionTool"}, ["terminate called.*", ".*", "no archive, and no log either: .*"],
                 -signal.SIGABRT),
                ([], {"shell": """exec 2<>%s; exec bash -mc 'LogCollectionTool & wait %%1'"""},
                 ["terminate called.*", ".*", "no archive, and no log either: .*", ".*Aborted.*"], 134),
                ([], {"shell": 'exec 2<>%s; mount -t tmpfs -o ro none /tmp && exec "$@"'},
                 ["no archive; the log is %s" % re.escape(sandbox.OWN_LOG)], 161)):
            started = self.start(*arguments, seen="", uname=SLOW, **how)
            if status == 0:
                self.let_go("/go_logs")
            self.finish(started, *messages, status=status)
            self.assertNotRegex(self.terminal.raw, rb"\x1b" + rb"|\r(?!\n)" * (status == 134), "rows above are somebody else's")

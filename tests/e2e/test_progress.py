"""What a person at a terminal sees of a run, and nobody else: the line while it goes on, the result at its end."""
import os
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
            with open(self.tool_box.path(fifo), "w") as file:
                file.write("\n")

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

    def test_nobody_else_sees_anything_of_it(self):
        started = self.start("--quiet", seen="", uname=SLOW)
        self.let_go("/go_logs")
        self.finish(started, NO_PORT_FILE)
        self.assertNotIn(b"\r\x1b", self.terminal.raw)
        for shell in 'exec "$@" 2>&1 >/out | cat >&2', 'exec "$@" >/out':
            plain = self.box(fakes={"uname": SLOW, "journalctl": ""})
            plain.put(sandbox.UEM_LOGS + "agent.log")
            self.assertRegex(plain.run(shell=shell, env={"TERM": "xterm"}).err, "^%s\n$" % NO_PORT_FILE)
            self.assertRegex(plain.read("/out").decode(), r"\Aapp path:[^\x1b]*\nCollection log completed.\n\Z")

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

    def test_an_ignored_interrupt_at_a_terminal_without_escape_sequences(self):
        started = self.start(shell='trap "" INT; exec "$@" 2<>%s', term="dumb")
        os.kill(started[0].pid, signal.SIGINT)
        self.terminal.wait_for("^[3-9] s")  # it is still there
        self.let_go()
        self.finish(started, NO_PORT_FILE, *RESULT)
        self.assertNotIn(b"\x1b", self.terminal.raw)

    def test_what_a_run_without_an_archive_says(self):
        for how, messages, status in (
                ({"argv0": "LogCollectionTool"}, ["terminate called.*", ".*", "no archive, and no log either: .*"],
                 -signal.SIGABRT),
                ({"shell": 'exec 2<>%s; mount -t tmpfs -o ro none /tmp && exec "$@"'},
                 ["no archive; the log is %s" % re.escape(sandbox.OWN_LOG)], 161)):
            self.finish(self.start(seen="", **how), *messages, status=status)

    def test_a_run_in_the_background_shows_its_result_only(self):
        started = self.start(seen="", shell="""exec 2<>%s; exec bash -mc '"$@" & wait' bash "$@" """, uname=SLOW)
        self.let_go("/go_logs")
        self.finish(started, NO_PORT_FILE, *RESULT, r"\[1\].*Done.*")  # the last is the shell's
        self.assertNotRegex(self.terminal.raw, b"\r[^\n]", "rows above are somebody else's")

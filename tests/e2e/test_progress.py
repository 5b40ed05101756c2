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
    def start(self, *arguments, columns=100, shell='exec "$@" 2<>%s', term="xterm", content="some text",
              command="exec 2>&-; read line </go_info", reveal="", argv0="/opt/tool/LogCollectionTool"):
        """A run on a terminal whose reports wait until they are let go."""
        self.terminal = terminal.Terminal(columns)
        self.addCleanup(self.terminal.close)
        self.tool_box = self.box(fakes={"uname": command, "journalctl": "exec 2>&-; read line </go_logs", "open": reveal})
        self.tool_box.bind("/dev/pts")
        for fifo in "/go_info", "/go_logs":
            self.tool_box.make(os.mkfifo, fifo)
        self.tool_box.put(sandbox.UEM_LOGS + "agent.log", content)
        return self.tool_box.start(*arguments, shell=shell % self.terminal.name, env={"TERM": term}, argv0=argv0)

    def let_go(self, *fifos):
        for fifo in fifos or ("/go_info", "/go_logs"):
            with open(self.tool_box.path(fifo), "w") as file:
                file.write("\n")

    def finish(self, started, *messages, status=0, result=RESULT):
        """Ends the run; nothing but the messages and the result may be left on the terminal, each line whole."""
        messages += result
        result = self.tool_box.finish(started, status)
        self.terminal.wait_for("^%s$" % messages[-1])
        left = self.terminal.rest()
        self.assertEqual(len(left), len(messages), left)
        for line, message in zip(left, messages):
            self.assertRegex(line, "^%s$" % message)
        return result

    def test_it_shows_each_stage(self):
        processors = os.sched_getaffinity(0)
        os.sched_setaffinity(0, {min(processors)})  # one of them packs this much long enough to be seen
        started = self.start(content=os.urandom(48 << 20))
        os.sched_setaffinity(0, processors)
        self.terminal.wait_for(ALL_RUNNING)
        self.let_go("/go_info")
        self.terminal.wait_for("system information: done, tunnel dump: done, running logs: running")
        self.let_go("/go_logs")
        first = self.terminal.wait_for(r"\d s  packing, (\d+\.\d) MiB so far")[1]
        self.terminal.wait_for(r"packing, (?!%s M)\d+\.\d MiB so far" % first)
        self.finish(started, NO_PORT_FILE)
        archive = self.tool_box.path(sandbox.ROOT_DIR + "/" + self.tool_box.archives()[0])
        self.assertRegex(self.terminal.lines()[-1], "^%.1f MiB, %d files, " % (
            os.path.getsize(archive) / sandbox.MIB, len(self.tool_box.zip())))

    def test_nobody_else_sees_anything_of_it(self):
        started = self.start()
        self.terminal.wait_for(ALL_RUNNING)
        self.let_go()
        output = self.finish(started, NO_PORT_FILE).out
        for shell in 'exec "$@" 2>&1 >/out | cat >&2', 'exec "$@" >/out':
            plain = self.box(fakes={"uname": SLOW, "journalctl": ""})
            plain.put(sandbox.UEM_LOGS + "agent.log", "some text")
            self.assertRegex(plain.run(shell=shell, env={"TERM": "xterm"}).err, "^%s\n$" % NO_PORT_FILE)
            self.assertEqual(plain.read("/out").decode(), output)
            boxes = self.tool_box, plain
            self.assertEqual(*(sorted(re.sub(r"\d", "", text) for text in box.messages()) for box in boxes))
            self.assertEqual(*({name: re.sub(rb"\d", b"", content) for name, content in box.zip().items()
                                if not name.endswith("LogColltionTool.log")} for box in boxes))

    def test_quiet_shows_nothing(self):
        started = self.start("--quiet", command=SLOW)
        self.let_go("/go_logs")
        self.finish(started, NO_PORT_FILE, result=())
        self.assertNotIn(b"\r\x1b", self.terminal.raw)

    def test_it_is_as_narrow_as_the_terminal(self):
        started = self.start()
        for columns, text in [(100, "  " + ALL_RUNNING), (60, "  waiting for system information, running logs"),
                              (20, "  1 of 3 done"), (9, "")]:
            self.terminal.resize(columns)
            self.terminal.wait_for(r"^\d+ s%s$" % text)
        self.terminal.resize(2)
        self.terminal.resize(100)
        self.let_go()
        self.finish(started, r"\[L")

    def test_a_terminal_without_escape_sequences_gets_none(self):
        for term in "dumb", "":
            started = self.start(term=term)
            self.terminal.wait_for(ALL_RUNNING)
            self.let_go()
            self.finish(started, NO_PORT_FILE)
            self.assertNotIn(b"\x1b", self.terminal.raw)

    def test_a_terminal_that_stops_or_goes_away_holds_up_nobody(self):
        for end in lambda: termios.tcflow(self.terminal.slave, termios.TCOOFF), lambda: self.terminal.close():
            started = self.start(shell='trap "" HUP; exec "$@" 2<>%s')
            self.terminal.wait_for(ALL_RUNNING)
            end()
            self.let_go()
            self.tool_box.finish(started)
            self.assertEqual(len(self.tool_box.archives()), 1)

    def test_what_an_interrupted_run_says(self):
        whole = (r"interrupted; the archive is complete",) + RESULT
        for term, reveal, result in (("xterm", "", ["interrupted; no archive"]),
                                     ("dumb", "", ["interrupted; no archive"]),
                                     ("xterm", "echo shown >&2; exec 2>&-; read line </go_info", ["shown", *whole])):
            with self.subTest(term=term, reveal=reveal):
                started = self.start(term=term, reveal=reveal)
                self.terminal.wait_for(ALL_RUNNING)
                if reveal:
                    self.let_go()
                    self.terminal.wait_for("^shown$")
                os.write(self.terminal.master, b"\x03")
                self.finish(started, NO_PORT_FILE, status=-signal.SIGINT, result=tuple(result))
                sandbox.wait_until_alone()

    def test_an_interrupt_that_the_caller_ignores(self):
        started = self.start(shell='trap "" INT; exec "$@" 2<>%s')
        self.terminal.wait_for(ALL_RUNNING)
        os.kill(started[0].pid, signal.SIGINT)
        self.terminal.wait_for("^[3-9] s", seconds=5)  # it is still there
        self.let_go()
        self.finish(started, NO_PORT_FILE)

    def test_what_a_run_without_an_archive_says(self):
        for how, messages, status in (
                ({"argv0": "LogCollectionTool"}, ["terminate called.*", ".*", "no archive, and no log either: .*"],
                 -signal.SIGABRT),
                ({"shell": 'exec 2<>%s; mount -t tmpfs -o ro none /tmp && exec "$@"'},
                 ["no archive; the log is %s" % sandbox.OWN_LOG], 161)):
            with self.subTest(how):
                self.finish(self.start(**how), *messages, status=status, result=())

    def test_a_run_in_the_background_shows_its_result_only(self):
        started = self.start(shell="""exec 2<>%s; exec bash -mc '"$@" & wait' bash "$@" """, command=SLOW)
        self.let_go("/go_logs")
        self.finish(started, NO_PORT_FILE, *RESULT, r"\[1\].*Done.*", result=())  # the last is the shell's
        self.assertNotIn(b"running", self.terminal.raw)


if __name__ == "__main__":
    sandbox.main()

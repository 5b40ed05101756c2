"""The page that shows an archive, in a real browser: with an archive of the tool's own, made-up machines, hostile ones."""
import os
import pathlib
import re
import struct
import time
import zipfile

import browser
import machines
import sandbox
from sandbox import LAUNCHD, MIB, ROOT_DIR, SHARED

browser.need()

RECORD = "[2026-11-20 12:00:%02d.000] [%s] [7] [LogCollectionTool:%s:9] %s\n"
START = RECORD % (0, "info", "main", "Collection log start")
MARKUP = "<img src=x onerror=document.title='caught'>"
CLIENT_LOG = "/Users/ada" + SHARED + "/logs/client.log"
IPS = '{"bug_type":"309"}\n{"procName":"oBrelaTunnel","faultingThread":0,"threads":[{"frames":[{"symbol":"verify"}]}]}'
OWN_LOG = (START + RECORD % (1, "error", "old", "from an earlier run") + START +
           RECORD % (1, "info", "operator()", "begin collect running log /x ...") +
           RECORD % (2, "info", "dumpXTunnelProc", "xtunnel dump:\n[DNS]\n a\n[VNIC] b\n[DNS] c\n\0\x1b[31m\u202e") +
           RECORD % (3, "warning", "new", "never explained " + MARKUP) * 9 +
           RECORD % (5, "warning", "copyDir", "Source directory /Users/root/x not exist.; Reason: code:2 msg:No") +
           RECORD % (6, "warning", "copyDir", "Source directory /x not exist.; Reason: code:13 msg:Denied"))
GOOD = [("LogColltionTool.log", OWN_LOG), ("?<b>\n.log", "x"), ("../../etc/x" + MARKUP, "x")]
BOMB = "b.log", bytes(64 * MIB)
# Name, content and what the directory says otherwise.
LIES = [("a.log", OWN_LOG, "file_size", 5), ("c.log", "cc", "CRC", 1), BOMB, ("e.log", "e", "flag_bits", 1),
        ("far.log", "x", "header_offset", 2**40)]
TOLD = {"a.log": "directory says 5 B(?s:.*)·", "c.log": "checksum", "e.log": "encrypted",
        "far.log": "not where the directory says", "b.log": "64.0 MiB(?s:.*)zero bytes"}
LIAR = "Nothing failed. All is well with this client."
# A section that does not end in a line feed, and blanks that a careless expression tries again and again.
BAD_REPORT = "".join(machines.BANNER % row[0] + row[1] for row in [
    ("netcard", "en0: up\n" + "\n " * MIB + "\n\tinet 192.0.2.9 x"), ("resolv dns info", "# none")])
# (files of an archive, where it begins, what is done to its bytes, what the page says)
ARCHIVES = [
    ([], 0, lambda whole: b"no archive" * 9999, "failed(?s:.*)This is no zip archive"),
    (GOOD, 0, lambda whole: whole[:-10], "failed(?s:.*)This archive is torn"),
    (GOOD, 0, lambda whole: whole[:300] + whole[400:], "failed(?s:.*)damaged"),
    ([], 0, None, "shown(?s:.*)It holds no file(?s:.*)It holds no LogColltionTool.log"),
    (GOOD, 0, lambda whole: whole.replace(b"?<b>", b"\xff<b>"),
     r"shown(?s:.*)documents do not explain\n\S+ 12:00:03 warning 9 times never explained <img src=x .*>\n(?s:.*)"
     r"Source directory /x not(?s:.*)Normal: 1 thing(?s:.*)no end(?s:.*)tunnel: DNS(?s:.*)tunnel: VNIC"),
    ([BOMB, ("LogColltionTool.log", "x" * MIB * 193)], 0, None, "shown(?s:.*)only the first 192.0 MiB were read"),
    ([("3g.log", "x")], 5 << 30, None, "shown(?s:.*)5.0 GiB, 1 file"),
    ([("logs/%d/%d.log" % (i % 3, i), "") for i in range(70000)], 0, None, "shown(?s:.*)All 70,000 files"),
    ([("system_info.log", BAD_REPORT), ("logs/ada/deep.json", "[" * MIB), ("logs/uem_" + LIAR + "/x.ips", "[1]\n{\"threads\":1}")], 0, None,
     "shown(?s:.*)“Nothing failed. All is well with…”(?s:.*)en0 192.0.2.9(?s:.*)Name servers none"),
    (LIES, 0, lambda whole: whole[:-14] + struct.pack("<2H", 99, 99) + whole[-10:],
     r"shown(?s:.*)claims to hold 99 files(?s:.*)Sizes or places that cannot be: 1 of")]


class Viewer(sandbox.Case):
    def find(self, selector):
        return self.page.find_element("css selector", selector)

    def until(self, script, *values):
        sandbox.until(lambda: self.page.execute_script("return " + script) in values)

    def show(self, path):
        """Opens an archive, waits until its logs are read, and returns the state and all that is on the page."""
        self.page.execute_script("document.body.dataset.state = document.body.dataset.logs = ''")
        self.find("input[type=file]").send_keys(path)
        self.until("document.body.dataset.state + document.body.dataset.logs", "failed", "shownread")
        return self.page.execute_script("return document.body.dataset.state") + "\n" + self.find("body").text

    def search(self, word):
        """The hits, once the search is done."""
        self.find("#search").clear()
        self.find("#search").send_keys(word + "\n")
        self.until("Object.values(document.getElementById('hits').dataset).join()", word + ",done")
        return self.find("#hits").text

    def open(self, name):
        """What the viewer shows of a file, found in the tree by opening every folder."""
        button = "//*[@class='tree']//button[text()='%s']" % name
        while not self.page.find_elements("xpath", button):
            self.page.execute_script("document.querySelectorAll('.tree details').forEach((d) => d.open = true)")
        self.page.execute_script("arguments[0].click()", self.page.find_elements("xpath", button)[-1])
        return self.shown_file()

    def shown_file(self, told="(?!Reading|Searching)."):
        """What the viewer shows, once it has read enough for this."""
        sandbox.until(lambda: re.match(told, self.find("#viewer .faint").text))
        return self.find("#viewer").text

    def close(self):
        self.page.execute_script("document.getElementById('viewer').close()")

    def setUp(self):
        self.files = self.box(console="ada")
        self.page = browser.start(self, self.files)

    def test_made_up_machines(self):
        for name, (cause, *_) in machines.FAULTS.items():
            machines.archive(name, self.files.path("/%s.zip" % name))
            shown = self.show(self.files.path("/%s.zip" % name))
            bad = [finding.text for finding in self.page.find_elements("css selector", ".finding.error, .finding.warning")]
            self.assertRegex((bad + ["no fault"])[0], cause or "no fault")
            if name == "crash":
                self.assertRegex(shown, "client 7.3.12")
                self.assertNotIn("start the client", shown)
                self.assertEqual([text.split("\n")[0] for text in bad], [
                    "oBrelaTunnel: 5 crashes, last 18:35:31, EXC_BAD_ACCESS in TlsSession::verify, version 7.3.12",
                    "New errors in the last two hours: “connect to 127.0.0.1:750: connection refused”, 50 times and 1 other kind",
                    "Launch jobs: com.quelmar.oBrelaTunnel does not run (SIGSEGV)"])
        self.assertRegex(self.search("Library not"), r"50 lines(?s:.*)QMUem.log:1251 2026-11-21 17:55:32 \[")
        self.find("#hits .hit button").click()
        self.assertRegex(self.shown_file(), r"\n1251\n.*QMUem: library not loaded, exit 50\n1252\n")
        self.close()
        self.page.execute_script("document.querySelectorAll('#complaints details').forEach((d) => d.open = true)")
        self.until("document.querySelectorAll('#complaints ol:empty').length", 0)
        self.find("#complaints button[class=code]").click()
        self.assertRegex(self.find("#complaints").text, r"agent does not run”\nFound here:\nNew errors(?s:.*)logs/uem_anna/system_state.log")
        self.close()

    def test_archive_of_the_tool(self):
        now = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime())
        self.files.put(CLIENT_LOG, now + " connect failed\n" + "plain\n" * 300000)
        self.files.put("/Users/ada/Library/Logs/DiagnosticReports/a.ips", IPS)
        self.files.put(LAUNCHD, size=11 * MIB)
        self.files.put("/Users/ada" + SHARED + "/database/a.db", b"SQLite format 3\0" + bytes(99) + b"ada lovelace")
        self.files.run("-q")
        shown = self.show(self.files.path(ROOT_DIR + "/" + self.files.archives()[0]))
        for text in (r"Collected 20.* for “ada” and root · .* files", "Before you send it: data of “ada” · 1 database",
                     "The tunnel's modules are missing: .*the tunnel service does not run.*\nWhat to do: start the client",
                     r"Normal: \d+ things", "a.ips", "it is over 10 MiB", r"Name servers\s+192\.0\.2\.1", r"client\.log 1 1",
                     "missing: Source directory /Library/Application Support/oBrela/netData not exist"):
            self.assertRegex(shown, text)
        self.assertRegex(self.search("lovelace"), "a.db (?s:.*)SQLite database")
        self.assertRegex(self.open("a.db"), "SQLite database, 127 B")
        self.assertRegex(self.open("a.ips"), r'oBrelaTunnel(?s:.*)verify(?s:.*)"procName": "oBrelaTunnel"')
        self.assertRegex(self.open("client.log"), "Lines 299,002 to 300,001, the last")
        self.find("#viewer input").send_keys("CONNECT")
        self.shown_file("1 such line in the whole file")
        self.find("#viewer pre button").click()
        self.assertRegex(self.shown_file("Lines"), r"\n1\s+\S+ \S+ connect failed\n2\s+plain")
        self.find("#viewer .save button").click()
        sandbox.until(lambda: os.path.exists(self.files.path("/downloads/client.log")))
        self.assertEqual(self.files.read("/downloads/client.log"), self.files.read(CLIENT_LOG))

    def test_hostile_archives(self):
        """One after the other, in one page that stays usable; then file by file."""
        for number, (files, start, spoil, told) in enumerate(ARCHIVES):
            path = pathlib.Path(self.files.path("/%d.zip" % number))
            with open(path, "wb") as file:
                file.seek(start)
                with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as archive:
                    for name, content, *lie in files:
                        archive.writestr(name, content)
                        if lie:
                            setattr(archive.infolist()[-1], *lie)
            if spoil:
                path.write_bytes(spoil(path.read_bytes()))
            self.assertRegex(self.show(str(path)), r"\A" + told)
        for name, told in TOLD.items():
            self.assertRegex(self.open(name), told)
        self.assertEqual([x["message"] for x in self.page.get_log("browser")], [])
        server = self.server(b"")
        self.assertEqual(self.page.execute_async_script(
            "fetch('http://127.0.0.1:%d/').then(() => arguments[0]('sent'), () => arguments[0]('refused'))" % server.port), "refused")
        self.assertEqual(server.requests, [])
        self.assertEqual(self.page.title, "%d.zip – log archive" % (len(ARCHIVES) - 1))

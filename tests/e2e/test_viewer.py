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

OLD, NEW = "Errors that are not new: “cache miss %d”", "New errors in the last two hours: “%s”, 50 times%s"
LOST = ("The tunnel's modules are missing: the tunnel service does not run or did not answer within 30 seconds; no port file "
        "(var/run/debugserver in the client's shared folder), or no port in it; 7777 is asked instead")
JOB, MODULE = "Launch jobs: com.quelmar.%s does not run (%s)", "Modules of the tunnel service tell of trouble: "
FINDINGS = {  # what the page finds with each made-up machine, before what is as with the healthy one
    "healthy": [],
    "crash": ["oBrelaTunnel: 5 crashes, last 18:35:31, EXC_BAD_ACCESS in TlsSession::verify, version 7.3.12",
              NEW % ("connect to 127.0.0.1:750: connection refused", " and 1 other kind"), JOB % ("oBrelaTunnel", "SIGSEGV"),
              OLD % 1278, LOST],
    "certificate": [NEW % ("TLS handshake 50 failed: certificate has expired", ""), MODULE + "trustTunnel"],
    "portal": [NEW % ("GET /portal/login?try=50: Connection reset by peer", "")],
    "database": [NEW % ("open session.db: database disk image is malformed (50)", " and 1 other kind"), JOB % ("oBrelaTray", "status 1")],
    "names": [NEW % ("query 50 for intra.example: SERVFAIL from 10.8.0.1", ""), MODULE + "DNS"],
    "agent": [NEW % ("QMUem: library not loaded, exit 50", ""), "The management agent does not run"]}
RECORD = "[2026-11-20 12:00:%02d.000] [%s] [7] [LogCollectionTool:%s:9] %s\n"
START = RECORD % (0, "info", "main", "Collection log start")
MARKUP = "<img src=x onerror=document.title='caught'>"
CLIENT_LOG = "/Users/ada" + SHARED + "/logs/client.log"
OWN_LOG = (START + RECORD % (1, "error", "old", "from an earlier run") + START +
           RECORD % (2, "info", "dumpXTunnelProc", "xtunnel dump:\n[DNS]\n a\n[VNIC] b\n[DNS] c\n\0\x1b[31m\u202e") +
           RECORD % (3, "warning", "new", "never explained " + MARKUP) * 9 +
           RECORD % (5, "warning", "copyDir", "Source directory /Users/root/x not exist.; Reason: code:2 msg:No") +
           RECORD % (6, "warning", "copyDir", "Source directory /x not exist.; Reason: code:13 msg:Denied"))
GOOD = [("LogColltionTool.log", OWN_LOG), ("?<b>\n.log", "x"), ("../../etc/x" + MARKUP, "x")]
# Name, content and what the directory says otherwise; then what the page says of each.
LIES = [("a.log", OWN_LOG, "file_size", 5), ("c.log", "cc", "CRC", 1), ("b.log", bytes(64 * MIB)), ("e.log", "e", "flag_bits", 1),
        ("far.log", "x", "header_offset", 2**40)]
TOLD = {"a.log": "directory says 5 B(?s:.*)·", "c.log": "checksum", "e.log": "encrypted",
        "far.log": "not where the directory says", "b.log": "64.0 MiB(?s:.*)zero bytes"}
LIAR = "Nothing failed. All is well with this client."
# A section that does not end in a line feed, and blanks that a careless expression tries again and again.
BAD_REPORT = "".join(machines.BANNER % row[0] + row[1] for row in [
    ("netcard", "en0: up\n" + "\n " * MIB + "\n\tinet 192.0.2.9 x"), ("resolv dns info", "# none")])


def crowd(whole):
    """An archive that names its file 70,000 times."""
    size, start = struct.unpack("<2L", whole[-10:-2])
    return (whole[:-22].replace(whole[start:-22], whole[start:-22] * 70000) + whole[-22:-14] +
            struct.pack("<2H2LH", 4464, 4464, 70000 * size, start, 0))


ARCHIVES = [  # files, where the archive begins, what is done to its bytes, what the page says
    ([], 0, lambda whole: b"no archive" * 9999, "failed.*This is no zip archive"),
    (GOOD, 0, lambda whole: whole[:-10], "failed.*This archive is torn"),
    (GOOD, 0, lambda whole: whole[:300] + whole[400:], "failed.*damaged"),
    ([], 0, None, "shown.*It holds no file.*It holds no LogColltionTool.log"),
    (GOOD, 0, lambda whole: whole.replace(b"?<b>", b"\xff<b>"),
     r"shown.*documents do not explain\s+\S+ 12:00:03 warning 9 times never explained <img src=x .*>\n.*"
     r"Source directory /x not.*Normal: 1 thing.*tunnel: DNS.*tunnel: VNIC"),
    ([("3g.log", "x")], 5 << 30, None, "shown.*5.0 GiB, 1 file"),
    ([("logs/1.log", "")], 0, crowd, "shown.*All 70,000 files"),
    ([("system_info.log", BAD_REPORT), ("logs/ada/deep.json", "[" * MIB), ("logs/uem_" + LIAR + "/x.ips", "[1]\n{\"threads\":1}")], 0, None,
     r"shown.*“Nothing failed. All is well with…”.*192.0.2.9.*Name servers\s+none"),
    (LIES, 0, lambda whole: whole[:-14] + struct.pack("<2H", 99, 99) + whole[-10:],
     r"shown.*claims to hold 99 files.*Sizes or places that cannot be: 1 of")]


class Viewer(sandbox.Case):
    def find(self, selector):
        return self.page.find_element("css selector", selector)

    def ask(self, script, *arguments):
        return self.page.execute_script("return " + script, *arguments)

    def show(self, path):
        """Opens an archive, waits until its logs are read, and returns the state and all that is on the page."""
        self.ask("document.body.dataset.state = document.body.dataset.logs = ''")
        self.find("input[type=file]").send_keys(path)
        sandbox.until(lambda: self.ask("document.body.dataset.state + document.body.dataset.logs") in ("failed", "shownread"))
        return self.ask("document.body.dataset.state + document.body.innerText")

    def search(self, word):
        """The hits, once the search is done."""
        self.find("#search").clear()
        self.find("#search").send_keys(word + "\n")
        sandbox.until(lambda: self.ask("Object.values(document.getElementById('hits').dataset).join()") == word + ",done")
        return self.find("#hits").text

    def open(self, name):
        """What the viewer shows of a file, found in the tree by opening every folder."""
        button = "//*[@class='tree']//button[text()='%s']" % name
        while not self.page.find_elements("xpath", button):
            self.ask("document.querySelectorAll('.tree details').forEach((folder) => folder.open = true)")
        self.ask("arguments[0].click()", self.page.find_elements("xpath", button)[-1])
        return self.shown_file()

    def shown_file(self, told="(?!Reading|Searching)."):
        """What the viewer shows, once it has read enough for this."""
        sandbox.until(lambda: re.match(told, self.find("#viewer .faint").text))
        return self.find("#viewer").text

    def setUp(self):
        self.files = self.box(console="ada")
        self.page = browser.start(self, self.files)

    def test_made_up_machines(self):
        found = {}
        for name in machines.FAULTS:
            machines.archive(name, self.files.path("/%s.zip" % name))
            shown = self.show(self.files.path("/%s.zip" % name))
            found[name] = self.ask("[...document.querySelectorAll('.finding')].map((f) => f.querySelector('h3, summary').innerText)")
            self.assertIn("client 7.3.12" if name == "crash" else "unpacked", shown)
        ends = {name: [OLD % 1199] * (name != "crash") + ["Crashes of other makers’ programs: 1"] for name in FINDINGS}
        self.assertEqual(found, {name: FINDINGS[name] + ends[name] for name in FINDINGS})
        self.assertRegex(self.search("Library not"), r"50 lines(?s:.*)QMUem.log:1251 2026-11-21 17:55:32 \[")
        self.find("#hits .hit button").click()
        self.assertRegex(self.shown_file(), r"\n1251\n.*QMUem: library not loaded, exit 50\n1252\n")
        self.ask("viewer.close(), document.querySelectorAll('#complaints details').forEach((part) => part.open = true)")
        sandbox.until(lambda: not self.page.find_elements("css selector", "#complaints ol:empty"))
        self.find("#complaints button[class=code]").click()
        self.assertRegex(self.find("#complaints").text, r"agent does not run”\nFound here:\nNew errors(?s:.*)logs/uem_anna/system_state.log")
        self.ask("viewer.close()")
        self.find("#copy").click()
        self.assertEqual(self.find("#copy").text, "Copied")

    def test_archive_of_the_tool(self):
        now = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime())
        self.files.put(CLIENT_LOG, now + " connect failed\n" + "plain\n" * 300000)
        self.files.put("/Users/ada/Library/Logs/DiagnosticReports/oBrelaTunnel.ips", machines.report("oBrelaTunnel", 0, "7"))
        self.files.put(LAUNCHD, 11 * MIB)
        self.files.put("/Users/ada" + SHARED + "/database/a.db", b"SQLite format 3\0" + bytes(99) + b"ada lovelace")
        self.files.run("-q")
        shown = self.show(self.files.path(ROOT_DIR + "/" + self.files.archives()[0]))
        for text in (r"Collected 20.* for “ada” and root · .* files", "Before you send it: data of “ada” · 1 database",
                     "The tunnel's modules are missing: .*the tunnel service does not run.*\n+What to do: ",
                     r"Normal: \d+ things", "oBrelaTunnel.ips", "it is over 10 MiB", r"Name servers\s+192\.0\.2\.1", r"client\.log\s1\s1",
                     "missing: Source directory /Library/Application Support/oBrela/netData not exist"):
            self.assertRegex(shown, text)
        self.assertRegex(self.search("lovelace"), "a.db (?s:.*)SQLite database")
        self.assertRegex(self.open("a.db"), "SQLite database, 127 B")
        self.assertRegex(self.open("oBrelaTunnel.ips"), r'oBrelaTunnel(?s:.*)verify(?s:.*)"procName": "oBrelaTunnel"')
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
            self.assertRegex(self.show(str(path)), r"(?s)\A" + told)
        for name, told in TOLD.items():
            self.assertRegex(self.open(name), told)
        server = sandbox.Server(b"")
        fetch = "fetch('http://127.0.0.1:%d/').then(() => arguments[0]('sent'), () => arguments[0]('refused'))" % server.port
        self.assertEqual([self.page.get_log("browser"), self.page.execute_async_script(fetch), server.requests, self.page.title],
                         [[], "refused", [], "%d.zip – log archive" % (len(ARCHIVES) - 1)])

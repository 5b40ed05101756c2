"""The page that shows an archive, in a real browser: with an archive of the tool's own, and with hostile ones."""
import os
import pathlib
import struct
import time
import zipfile

import browser
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
        "far.log": "not where the directory says", "b.log": "1.0 MiB of 64.0 MiB read. It holds bytes"}
# (files of an archive, where it begins, what is done to its bytes, what the page says)
ARCHIVES = [
    ([], 0, lambda whole: b"no archive" * 9999, "failed(?s:.*)This is no zip archive"),
    (GOOD, 0, lambda whole: whole[:-10], "failed(?s:.*)This archive is torn"),
    (GOOD, 0, lambda whole: whole[:300] + whole[400:], "failed(?s:.*)damaged"),
    ([], 0, None, "shown(?s:.*)It holds no file(?s:.*)It holds no LogColltionTool.log"),
    (GOOD, 0, lambda whole: whole.replace(b"?<b>", b"\xff<b>"),
     r"shown(?s:.*)explained by the documents\n12:00:03 warning never explained <img src=x .*> 9 times(?s:.*)"
     r"Source directory /x not(?s:.*)Normal: 1 thing(?s:.*)tunnel: DNS(?s:.*)tunnel: VNIC(?s:.*)no end"),
    ([BOMB, ("LogColltionTool.log", "x" * MIB * 193)], 0, None, "shown(?s:.*)only the first 192.0 MiB were read"),
    ([("3g.log", "x")], 5 << 30, None, "shown(?s:.*)5.0 GiB, 1 file"),
    ([("logs/%d/%d.log" % (i % 3, i), "") for i in range(70000)], 0, None, "shown(?s:.*)All 70,000 files"),
    (LIES, 0, lambda whole: whole[:-14] + struct.pack("<2H", 99, 99) + whole[-10:],
     r"shown(?s:.*)claims to hold 99 files(?s:.*)sizes or places of 1 file")]


class Viewer(sandbox.Case):
    def find(self, selector):
        return self.page.find_element("css selector", selector)

    def show(self, path):
        self.page.execute_script("document.body.dataset.state = 'empty'")
        self.find("input[type=file]").send_keys(path)
        sandbox.until(lambda: self.find("body").get_attribute("data-state") in ("shown", "failed"))
        return self.find("body").get_attribute("data-state") + "\n" + self.find("body").text

    def open(self, name):
        """What the viewer shows of a file, found in the tree by opening every folder."""
        button = "//*[@class='tree']//button[text()='%s']" % name
        while not self.page.find_elements("xpath", button):
            self.page.execute_script("document.querySelectorAll('.tree details').forEach((d) => d.open = true)")
        self.page.execute_script("document.getElementById('viewer').close()")
        self.page.execute_script("arguments[0].click()", self.page.find_elements("xpath", button)[-1])
        sandbox.until(lambda: self.find("#viewer pre").text or self.find("#viewer .faint").text)
        return self.find("#viewer").text

    def test_one_archive_after_the_other(self):
        """In one page that stays usable: the tool's own, then hostile ones, the last of which is opened file by file."""
        self.files = self.box(console="ada")
        self.page = browser.start(self, self.files)
        self.check_archive_of_the_tool()
        self.check_hostile_archives()
        server = self.server(b"")
        self.assertEqual(self.page.execute_async_script(
            "fetch('http://127.0.0.1:%d/').then(() => arguments[0]('sent'), () => arguments[0]('refused'))" % server.port), "refused")
        self.assertEqual(server.requests, [])
        self.assertNotEqual(self.page.title, "caught")

    def check_archive_of_the_tool(self):
        now = time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime())
        self.files.put(CLIENT_LOG, now + " connect failed\n" + "plain\n" * 300000)
        self.files.put("/Users/ada/Library/Logs/DiagnosticReports/a.ips", IPS)
        self.files.put(LAUNCHD, size=11 * MIB)
        self.files.run("-q")
        shown = self.show(self.files.path(ROOT_DIR + "/" + self.files.archives()[0]))
        for text in (r"\Ashown\n", r"Collected 20.* for ada and root · .* files", "did not: none",
                     "The tunnel's modules are missing: the tunnel service does not run.*\nWhat to do: start the client",
                     r"Normal: \d+ things", "a.ips", "it is over 10 MiB",
                     "missing: Source directory /Library/Application Support/oBrela/netData not exist", r"Name servers\s+192\.0\.2\.1",
                     "The run waited for: "):
            self.assertRegex(shown, text)
        self.assertRegex(self.find("#timeline").text, r"client\.log[^\n]*\n1\n")
        self.assertRegex(self.open("a.ips"), r'oBrelaTunnel(?s:.*)verify(?s:.*)"procName": "oBrelaTunnel"')
        self.assertRegex(self.open("client.log"), "1.0 MiB of 1.7 MiB read")
        self.find("#viewer input").send_keys("CONNECT")
        self.assertRegex(self.find("#viewer pre").text, r"\A\S+ \S+ connect failed\Z")
        self.find("#viewer .save button").click()
        sandbox.until(lambda: os.path.exists(self.files.path("/downloads/client.log")))
        self.assertEqual(self.files.read("/downloads/client.log"), self.files.read(CLIENT_LOG))

    def check_hostile_archives(self):
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

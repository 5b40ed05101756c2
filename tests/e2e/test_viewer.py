"""The page that shows an archive, in a real browser: with an archive of the tool's own, and with hostile ones."""
import os
import struct
import time
import zlib

import browser
import sandbox
from sandbox import LAUNCHD, MIB, ROOT_DIR, SHARED

RECORD = "[2026-11-20 12:00:%02d.000] [%s] [7] [LogCollectionTool:%s:9] %s\n"
START = RECORD % (0, "info", "main", "Collection log start")
MARKUP = "<img src=x onerror=document.title='caught'>"
IPS = '{"bug_type":"309"}\n{"procName":"oBrelaTunnel","faultingThread":0,"threads":[{"frames":[{"symbol":"verify"}]}]}'
OWN_LOG = (START + RECORD % (1, "error", "old", "from an earlier run") + START +
           RECORD % (1, "info", "operator()", "begin collect running log /x ...") +
           RECORD % (2, "info", "dumpXTunnelProc", "xtunnel dump:\n[DNS]\n a\n[VNIC] b\n[DNS] c\n\0\x1b[31m\u202e") +
           RECORD % (3, "warning", "new", "never explained " + MARKUP) * 9 +
           RECORD % (5, "warning", "copyDir", "Source directory /Users/root/x not exist.; Reason: code:2 msg:No") +
           RECORD % (6, "warning", "copyDir", "Source directory /x not exist.; Reason: code:13 msg:Denied"))


def zipped(*files, count=None, hole=0):
    """(name, content, what the directory says otherwise) each, made by hand into an archive that begins after a hole, with
    every size told in zip64."""
    body, directory = [], []
    at = hole
    for name, content, *lies in files:
        name, content = (x if isinstance(x, bytes) else x.encode() for x in (name, content))
        packed = zlib.compress(content, 1)[2:-4]
        told = dict(dict(flags=8, method=8, crc=zlib.crc32(content), size=len(content), packed=len(packed), at=at), **dict(*lies))
        if told["method"] == 0:
            packed = content
        head = struct.pack("<5H", 45, told["flags"], told["method"], 0, 0)
        body += [b"PK\3\4" + head + struct.pack("<3I2H", 0, 0, 0, len(name), 0) + name, packed]
        extra = struct.pack("<2H3Q", 1, 24, told["size"], told["packed"], told["at"])
        directory.append(b"PK\1\2\0\0" + head + struct.pack("<3I5H2I", told["crc"], 2**32 - 1, 2**32 - 1, len(name), len(extra),
                                                            0, 0, 0, 0, 2**32 - 1) + name + extra)
        at += len(body[-2]) + len(packed)
    listed, count = b"".join(directory), len(files) if count is None else count
    end64 = b"PK\6\6" + struct.pack("<Q2H2I4Q", 44, 45, 45, 0, 0, count, count, len(listed), at)
    return b"".join(body) + listed + end64 + b"PK\6\7" + struct.pack("<IQI", 0, at + len(listed), 1) + \
        b"PK\5\6" + struct.pack("<4H2IH", 0, 0, 65535, 65535, 2**32 - 1, 2**32 - 1, 0)


class Viewer(sandbox.Case):
    def setUp(self):
        self.files = self.box(console="ada")
        self.page = browser.start(self, self.files)

    def find(self, selector):
        return self.page.find_element("css selector", selector)

    def wait(self, function):
        limit = time.monotonic() + 60
        while not function():
            self.assertLess(time.monotonic(), limit)
            time.sleep(0.02)

    def show(self, path):
        self.page.execute_script("document.body.dataset.state = 'empty'")
        self.find("input[type=file]").send_keys(path)
        self.wait(lambda: self.find("body").get_attribute("data-state") in ("shown", "failed"))
        return self.find("body").get_attribute("data-state") + "\n" + self.find("body").text

    def open(self, name):
        """What the viewer shows of a file, found in the tree by opening every folder."""
        button = "//*[@class='tree']//button[text()='%s']" % name
        while not self.page.find_elements("xpath", button):
            self.page.execute_script("document.querySelectorAll('.tree details').forEach((d) => d.open = true)")
        self.page.execute_script("document.getElementById('viewer').close()")
        self.page.execute_script("arguments[0].click()", self.page.find_elements("xpath", button)[-1])
        self.wait(lambda: self.find("#viewer pre").text or self.find("#viewer .faint").text)
        return self.find("#viewer").text

    def test_archive_of_the_tool(self):
        self.files.put("/Users/ada" + SHARED + "/logs/client.log",
                       time.strftime("%Y-%m-%d %H:%M:%S connect failed\n", time.gmtime()) + "plain\n" * 300000)
        self.files.put("/Users/ada/Library/Logs/DiagnosticReports/a.ips", IPS)
        self.files.put(LAUNCHD, size=11 * MIB)
        self.files.run("-q")
        archive = self.files.path(ROOT_DIR + "/" + self.files.archives()[0])
        shown = self.show(archive)
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
        self.wait(lambda: os.path.exists(self.files.path("/downloads/client.log")))
        self.assertEqual(self.files.read("/downloads/client.log"), self.files.read("/Users/ada" + SHARED + "/logs/client.log"))
        server = self.server(b"")
        self.assertEqual(self.page.execute_async_script(
            "fetch('http://127.0.0.1:%d/').then(() => arguments[0]('sent'), () => arguments[0]('refused'))" % server.port), "refused")
        self.assertEqual(server.requests, [])

    def test_hostile_archives(self):
        """(bytes of the archive, what the page says) each, one after the other in one page that stays usable."""
        good = zipped(("LogColltionTool.log", OWN_LOG), (b"\xff<b>\n.log", "x"), ("../../etc/x" + MARKUP, "x"))
        bomb = ("b.log", bytes(64 * MIB))
        for number, (content, expected) in enumerate((
                (b"", "failed(?s:.*)This is no zip archive"), (b"no archive" * 9999, "failed(?s:.*)This is no zip archive"),
                (good[:-60], "failed(?s:.*)This archive is torn"), (good[:300] + good[400:], "failed(?s:.*)damaged"),
                (zipped(), "shown(?s:.*)It holds no file(?s:.*)It holds no LogColltionTool.log"),
                (good, r"shown(?s:.*)explained by the documents\n12:00:03 warning never explained <img src=x .*> 9 times(?s:.*)"
                       r"Source directory /x not(?s:.*)Normal: 1 thing(?s:.*)tunnel: DNS(?s:.*)tunnel: VNIC(?s:.*)no end"),
                (zipped(bomb, ("LogColltionTool.log", "x" * MIB * 200)), "shown(?s:.*)only the first 192.0 MiB were read"),
                (zipped(("a.log", OWN_LOG, {"size": 5}), ("c.log", "cc", {"crc": 1}), bomb, ("e.log", "e", {"flags": 1}),
                        ("far.log", "x", {"at": 2**40}), ("s.log", "stored", {"method": 0, "packed": 6}), count=99),
                 r"shown(?s:.*)claims to hold 99 files(?s:.*)sizes or places of 1 file"),
                (zipped(("3g.log", "x"), hole=5 << 30), "shown(?s:.*)5.0 GiB, 1 file"),
                (zipped(*(("logs/%d/%d.log" % (i % 3, i), "") for i in range(100000))), "shown(?s:.*)All 100,000 files"))):
            path = self.files.path("/%d.zip" % number)
            with open(path, "wb") as file:
                file.seek(5 << 30 if b"3g.log" in content else 0)
                file.write(content)
            self.assertRegex(self.show(path), r"\A" + expected)
            if b"far.log" in content:
                for name, told in (("a.log", "directory says 5 B(?s:.*)·"), ("c.log", "checksum"), ("e.log", "encrypted"),
                                   ("far.log", "not where the directory says"), ("b.log", "1.0 MiB of 64.0 MiB read. It holds bytes"),
                                   ("s.log", "stored")):
                    self.assertRegex(self.open(name), told)
        self.assertNotEqual(self.page.title, "caught")
        self.assertEqual([x["message"] for x in self.page.get_log("browser")], [])


if __name__ == "__main__":
    browser.need()
    sandbox.main()

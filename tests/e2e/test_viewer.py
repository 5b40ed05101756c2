"""The page that shows an archive, in a real browser: with an archive of the tool's own, made-up machines, hostile ones.

What it shows of the latter two is compared with tests/viewer/expected; started by itself, this writes it there.
"""
import os
import pathlib
import struct
import unittest
import zipfile

import browser
import machines
import sandbox
from sandbox import LAUNCHD, LOGS, MIB, ROOT_DIR, SHARED

EXPECTED = pathlib.Path(__file__).resolve().parents[1] / "viewer/expected"
PARTS = "h1, #failure, #summary, #notes, #sending, #findings, #timeline, #machine, #tree"  # what an archive tells
TEXT = "return [...document.querySelectorAll(arguments[0])].map((part) => part.innerText).join('\\n')"
OPEN_ALL = "document.querySelectorAll('details').forEach((part) => part.open = true)"
RECORD = "[2026-11-20 12:00:%02d.000] [%s] [7] [LogCollectionTool:%s:9] %s\n"
START = RECORD % (0, "info", "main", "Collection log start")
MARKUP = "<img src=x onerror=document.title='caught'>"
LIAR = "Nothing failed. All is well with this client."
OWN_LOG = (START + RECORD % (1, "error", "old", "from an earlier run") + START +
           RECORD % (2, "info", "dump", "xtunnel dump:\n[DNS]\n a\n[VNIC] b\n[DNS] c\n\0\x1b[31m\u202e") +
           RECORD % (3, "warning", "new", "never explained " + MARKUP) * 9 +
           RECORD % (5, "warning", "copyDir", "Source directory /Users/root/x not exist.; Reason: code:2 msg:No") +
           RECORD % (6, "warning", "copyDir", "Source directory /x not exist.; Reason: code:13 msg:Denied"))
# A section that does not end in a line feed, and blanks that a careless expression tries again and again.
REPORT = "".join(machines.BANNER % title + text for title, text in [
    ("netcard", "en0: up\n" + "\n " * MIB + "\n\tinet 192.0.2.9 x"), ("resolv dns info", "# none")])
GOOD = {"LogColltionTool.log": [OWN_LOG], "?<b>\n.log": ["x"], "../../etc/x" + MARKUP: ["x"]}
# For each file its content, and what the directory says otherwise.
LIES = {"a.log": ["aa", "file_size", 5], "c.log": ["cc", "CRC", 1], "b.log": [bytes(64 * MIB)],
        "e.log": ["e", "flag_bits", 1], "far.log": ["x", "header_offset", 2**40],
        "u.log": ["\ufeffü".encode("utf-16be")]}
STRANGE = {"system_info.log": [REPORT], "logs/uem_" + LIAR + "/x.ips": ['[1]\n{"threads":1}'],
           "logs/ada/deep.json": ["[" * MIB]}
HOSTILE = {  # files, where the archive begins, what is done to its bytes
    "no-archive": ({}, 0, lambda whole: b"no archive" * 9999),
    "torn": (GOOD, 0, lambda whole: whole[:-10]),
    "damaged": (GOOD, 0, lambda whole: whole[:300] + whole[400:]),
    "empty": ({}, 0, None),
    "odd-names": (GOOD, 0, lambda whole: whole.replace(b"?<b>", b"\xff<b>")),
    "large": ({"3g.log": ["x"]}, 5 << 30, None),
    "strange": (STRANGE, 0, None),
    "lies": (LIES, 0, lambda whole: whole[:-14] + struct.pack("<2H", 99, 99) + whole[-10:])}


def pack(path, files, start, spoil):
    with open(path, "wb") as file:
        file.seek(start)
        with zipfile.ZipFile(file, "w", zipfile.ZIP_DEFLATED, compresslevel=1) as archive:
            for name, (content, *lie) in files.items():
                archive.writestr(name, content)
                if lie:
                    setattr(archive.infolist()[-1], *lie)
    if spoil:
        pathlib.Path(path).write_bytes(spoil(pathlib.Path(path).read_bytes()))


class Viewer(sandbox.Case):
    def setUp(self):
        self.files = self.box(console="ada")
        self.page = browser.start(self, self.files)

    def find(self, selector):
        return self.page.find_element("css selector", selector)

    def wait(self, script, *arguments):
        sandbox.until(lambda: self.page.execute_script(script, *arguments))

    def show(self, path, parts=PARTS):
        """Opens an archive, waits until its logs are read, and returns what is on the page, everything opened."""
        self.page.execute_script("document.body.dataset.state = document.body.dataset.logs = ''")
        self.find("input[type=file]").send_keys(path)
        self.wait("return /failed|shownread$/.test(document.body.dataset.state + document.body.dataset.logs)")
        self.page.execute_script(OPEN_ALL)
        return self.page.execute_script(TEXT, parts)

    def search(self, word, field="#search", hits="#hits"):
        """The hits, once the search is done."""
        self.find(field).clear()
        self.find(field).send_keys(word + "\n")
        self.wait("return Object.values(document.querySelector(arguments[0]).dataset).join() == arguments[1]",
                  hits, word + ",done")
        return self.find(hits).text

    def open(self, selector):
        """What the viewer shows of a file, once it has read it, after a click there."""
        self.page.execute_script("document.querySelector(arguments[0]).click()", selector)
        self.wait("return !viewer.querySelector('.faint').innerText.startsWith('Reading')")
        return self.find("#viewer").text

    def compare(self, seen):
        if __name__ == "__main__":
            for name, text in seen.items():
                (EXPECTED / (name + ".txt")).write_text(text)
        self.assertEqual(seen, {name: (EXPECTED / (name + ".txt")).read_text() for name in seen})

    def test_made_up_machines(self):
        seen = {}
        for name in machines.FAULTS:
            machines.archive(name, self.files.path("/%s.zip" % name))
            seen[name] = self.show(self.files.path("/%s.zip" % name), "#summary, #findings, #timeline")
        seen["agent"] += self.page.execute_script(TEXT, "#complaints ul")
        seen["search"] = self.search("exit 4")
        self.assertRegex(self.open("#hits .hit button"), r"\n1253\s.*QMUem: library not loaded, exit 49\s+1254\s")
        self.page.execute_script("viewer.close(), copy.click()")
        self.assertEqual(self.find("#reading").text, "Copied")
        self.compare(seen)

    def test_hostile_archives(self):
        """One after the other, in one page that stays usable; then file by file."""
        seen = {}
        for name, made in HOSTILE.items():
            pack(self.files.path("/%s.zip" % name), *made)
            seen[name] = self.show(self.files.path("/%s.zip" % name))
        for number in range(len(LIES)):
            seen["lies"] += "\n\n" + self.open("#tree .tree .row:nth-child(%d) button" % (number + 1))
        self.assertEqual([self.page.get_log("browser"), self.page.title], [[], "lies.zip – log archive"])
        fetch = "fetch('http://127.0.0.1:%d/').catch(() => 0).then(arguments[0])"
        server = sandbox.Server(b"")
        self.page.execute_async_script(fetch % server.port)
        self.assertEqual(server.requests, [])
        self.compare(seen)

    def test_archive_of_the_tool(self):
        self.files.put(LOGS + "client.log", "connect failed\n" + "plain\n" * 300000)
        self.files.put(LAUNCHD, 11 * MIB)
        self.files.put("/Users/ada" + SHARED + "/database/a.db", b"SQLite format 3\0" + bytes(99) + b"ada lovelace")
        self.files.run("-q")
        shown = self.show(self.files.path(ROOT_DIR + "/" + self.files.archives()[0]), "body")
        for text in ("Collected 20.* for “ada” and root · .* files", r"send it: data of “ada” \(\d\) · databases \(1\)",
                     r"The tunnel's modules are missing: .*service does not run.*\n+What to do: ", r"Normal: \d+ thing",
                     "it is over 10 MiB", r"Name servers\s+192.0.2.1", r"netData\s+missing, for"):
            self.assertRegex(shown, text)
        self.assertRegex(self.search("lovelace"), "a.db (?s:.*)SQLite database")
        self.assertRegex(self.open("#hits .hit button"), "SQLite database, 127 B")
        self.page.execute_script("viewer.close()")
        self.search("connect failed")
        self.open("#hits .hit button")
        self.assertRegex(self.search("CONNECT FAILED", "#viewer input", "#viewer .hits"), "1 line with")
        self.assertRegex(self.open("#viewer .hit button"), r"Lines 1 to 1000(?s:.*)\n1\s+connect failed\s+2\s+plain")
        self.find("#viewer .save button").click()
        sandbox.until(lambda: os.path.exists(self.files.path("/downloads/client.log")))
        self.assertEqual(self.files.read("/downloads/client.log"), self.files.read(LOGS + "client.log"))


browser.need()
if __name__ == "__main__":
    sandbox.confine(str(EXPECTED))
    unittest.main()

"""What the tool was seen to write, collect and offer in the scenarios' expected states is in the documents.

docs/troubleshooting.md explains each warning and error; docs/archive-layout.md has each path of the base machine's
archive with its source, and each source is on that machine; the manual page has the options.
"""
import os
import pathlib
import re
import runpy
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXPECTED = PROJECT / "tests/e2e/expected"
carry = runpy.run_path(str(PROJECT / "viewer/carry"))


def pattern(code):
    """Matches a text of the documents with anything in its variable places."""
    return re.compile(".*?".join(map(re.escape, carry["parts"](code))))


def expected(pattern, *scenarios):
    """What a pattern finds in the states of these scenarios, or of all."""
    texts = [(EXPECTED / name).read_text() for name in scenarios or os.listdir(EXPECTED)]
    return sorted(set(re.findall(pattern, "\n".join(texts).replace("<out>", "/tmp/oBrelaLog"), re.MULTILINE)))


def of_anybody(text):
    """The text, and what it is in the documents if it is about a user."""
    return [text, *(text.replace(user, name, 1) for user in ("ada", "root") for name in ("USER", "FIRST"))]


told, copies = expected(r"^\+?(?:warning|error) \w+: (.*)"), expected(r"^(\S.*) '(/.*)'$", "base")
rows = [pattern(code) for _, row in carry["rows"]("troubleshooting.md", "Line") for code in carry["codes"](row["Line"])]
wrong = ["not explained in troubleshooting.md: " + text for text in told if not any(row.search(text) for row in rows)]

layout = {(row["path"], source) for row in carry["layout"]() for source in row["sources"]}
missing = {row for row in layout if row[0] != "LogColltionTool.log"}  # the tool's own log is no source
for copy in copies:
    ways = list(zip(*map(of_anybody, copy)))
    fitting = {row for row in layout if any(way[0].startswith(row[0]) and way[1].startswith(row[1]) for way in ways)}
    wrong += ["not in archive-layout.md: %s from %s" % copy] * (not fitting)
    missing -= fitting
wrong += ["in archive-layout.md, but not in the base machine's archive: %s from %s" % row for row in sorted(missing)]
manual = re.findall(r"^\.It .*Fl Fl (\w+)", (PROJECT / "packaging/LogCollectionTool.1").read_text(), re.MULTILINE)
wrong += ["the manual page has other options"] * (sorted(manual) != expected(r"^\+  -., --(\w+)", "options"))
sys.exit("\n".join(wrong) or len(told) < 50 or len(copies) < 20)

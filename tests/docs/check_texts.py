"""What the tool was seen to write, collect and offer in the scenarios' expected states is in the documents.

docs/troubleshooting.md explains each warning and error; docs/archive-layout.md has each path of the base machine's archive with
its source, and each source is on that machine; the manual page has the options.
"""
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


seen = "\n".join(path.read_text() for path in EXPECTED.iterdir()).replace("<out>", "/tmp/oBrelaLog")
told = set(re.findall(r"^\+?(?:warning|error) \w+: (.*)", seen, re.MULTILINE))
rows = [pattern(code) for _, row in carry["rows"]("troubleshooting.md", "Line") for code in carry["codes"](row["Line"])]
wrong = ["not explained in troubleshooting.md: " + text for text in sorted(told) if not any(row.search(text) for row in rows)]

layout = [(row["path"], source) for row in carry["layout"]() for source in row["sources"]]
copies = re.findall(r"^(\S.*) '(/.*)'$", (EXPECTED / "base").read_text(), re.MULTILINE)
missing = set(layout) - {("LogColltionTool.log", layout[0][1])}  # the tool's own log is no source
for path, source in copies:
    users = [(path.replace(user, name, 1), source.replace("/%s/" % user, "/%s/" % name)) for user in ("ada", "root") for name in ("USER", "FIRST")]
    fitting = [row for row in layout for at, origin in [(path, source), *users] if at.startswith(row[0]) and origin.startswith(row[1])]
    wrong += ["not in archive-layout.md: %s from %s" % (path, source)] * (not fitting)
    missing.difference_update(fitting)
wrong += ["in archive-layout.md, but not in the base machine's archive: %s from %s" % row for row in sorted(missing)]
manual = (PROJECT / "packaging/LogCollectionTool.1").read_text()
offered = re.findall(r"^\+  -., --(\w+)", (EXPECTED / "options").read_text(), re.MULTILINE)
wrong += ["the manual page has other options"] * (set(offered) != set(re.findall(r"^\.It .*Fl Fl (\w+)", manual, re.MULTILINE)))
sys.exit("\n".join(wrong) or len(told) < 50 or len(copies) < 20)

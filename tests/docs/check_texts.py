"""Every warning and error text that the tool can write is explained in docs/troubleshooting.md, and no other is.

docs/archive-layout.md has a row for each source that src/collect/sources.h has, and the same list of extensions. The
manual page has the options that the tool has.
"""
import pathlib
import re
import runpy
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = PROJECT / "docs" / "troubleshooting.md"
STRING = r'"(?:[^"\\]|\\.)*"'
# Calls with a level below warning are left out; a level that is passed on in a variable counts as a warning.
LOGGED = re.compile(r"\b(?:(?:LOG_CALL|DRIVER_LOG)\(|LOG_CALL_AS\([^,]+,|losses_?(?:\.|->)tell\()\s*(?!\s|kInfo|kDebug|kDump|level)")
SAID = re.compile(r'\bstd::cerr\b|\bSTDERR_FILENO\b|\bthrow\b|\bfail(?:\\n)?"|_error\("')
VALUE = r"\{\}|%[sd]"


def statements(code):
    """The statements of a source file: no comments, strings that stand side by side joined."""
    code = re.sub(STRING + r"|//[^\n]*", lambda m: m[0] if m[0][0] == '"' else " ", code)
    code = re.sub(r"^\s*#(?:.*\\\n)*.*$", ";", code.replace('"\n', '" '), flags=re.M)
    code = re.sub(r'([^\\])" +"(?!,)', r"\1", code)
    return re.findall(r'(?:%s|[^;{}"])+' % STRING, code)


def texts(code):
    constants = dict(re.findall(r"\b(k\w+) =\s*(%s)" % STRING, code))
    previous = ""
    for statement in statements(code):
        if LOGGED.search(statement) or SAID.search(statement):
            # The text may be built in the statement before the one that writes it.
            source = previous + statement if "fwrite" in statement else statement
            source = re.sub(r'\binitLogName\("\w+"|LOG_CALL_AS\([^,]+', "", source)
            source = re.sub(r"\bk[A-Z]\w+", lambda name: constants.get(name[0], ""), source)
            yield from (literal[1:-1] for literal in re.findall(STRING, source))
        previous = statement


def pattern(text):
    """Matches the text with values in place of its placeholders; None when next to nothing else is in it."""
    pieces = re.split(VALUE, text.replace("\\n", "").strip())
    return re.compile(".*?".join(map(re.escape, pieces))) if len("".join(pieces)) > 4 else None


def collected():
    """(path in the archive, path on the Mac) of each source in the code that is copied, and the extensions."""
    folder = PROJECT / "src/collect"
    row = r'\{k(\w+), "(.*?)",\s*"(.+?)"'
    for step, source, target in re.findall(row, (folder / "sources.h").read_text()):
        user = "FIRST" if step == "Management" else "USER"
        shared = "/Library/Application Support/oBrela" if step == "Machine" else user
        yield target.replace("{}", user), source.replace("{}", shared)
    extensions = re.search(r"collectedExtensions\(\) \{(.*?)\}", (folder / "selection.cpp").read_text(), flags=re.S)[1]
    yield "extensions", " ".join(re.findall(r'"(\.\w+)"', extensions))
    options = re.findall(r'"(\w+)", \'.\', "', (PROJECT / "src/app/options.cpp").read_text())
    yield "options", " ".join(sorted(options))


def documented():
    """The same as docs/archive-layout.md has it; the tool's own log is no source."""
    for row in runpy.run_path(str(PROJECT / "viewer/carry"))["layout"]():
        folders = [name for name in re.findall(r"`(\w+)`", row["from"]) if "<" in row["from"]] or [""]
        for source, folder in ((source, folder) for source in row["sources"] for folder in folders):
            if not row["path"].startswith("LogColltionTool"):
                yield (row["path"] + folder).rstrip("/"), (source + "/" + folder).rstrip("/")
    yield "extensions", re.search(r"Files that end in `(.*?)`", (PROJECT / "docs/archive-layout.md").read_text())[1]
    manual = (PROJECT / "packaging/LogCollectionTool.1").read_text()
    yield "options", " ".join(sorted(re.findall(r"^\.It .*Fl Fl (\w*)", manual, flags=re.M)))


code, page = set(collected()), set(documented())
wrong = ["only in the %s: %s from %s" % ("code" if row in code else "documents", *row) for row in sorted(code ^ page)]
sources = [path for path in sorted((PROJECT / "src").rglob("*")) if path.suffix in (".cpp", ".h", ".mm")]
known = {text: pattern(text) for path in sources for text in texts(path.read_text()) if pattern(text)}
explained = "\n".join(re.findall("`([^`\n]*)`", GUIDE.read_text()))
wrong += ["not explained in troubleshooting.md: " + text for text, found in known.items() if not found.search(explained)]
for line in re.findall(r"^\| `([^`]*)`.*? \|", GUIDE.read_text(), flags=re.M):
    wrong += ["explained in troubleshooting.md, but written nowhere: " + line] * (not any(found.search(line) for found in known.values()))
sys.exit("\n".join(wrong) or len(known) < 50 or len(code) < 20)

"""Every warning and error text that the tool can write is explained in docs/troubleshooting.md, and no other is."""
import pathlib
import re
import sys

PROJECT = pathlib.Path(__file__).resolve().parents[2]
GUIDE = PROJECT / "docs" / "troubleshooting.md"
STRING = r'"(?:[^"\\]|\\.)*"'
# Whatever is not plainly a message of lesser weight counts, a level that is passed on in a variable included.
LOGGED = re.compile(r"\b(?:(?:LOG_CALL|DRIVER_LOG)\(|LOG_CALL_AS\([^,]+,|losses_?(?:\.|->)tell\()\s*(?!\s|kInfo|kDebug|kDump|level)")
SAID = re.compile(r'\bstd::cerr\b|\bstderr\b|\bthrow\b|\bfail"|_error\("')
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
            # A text may be put together first and written then.
            source = previous + statement if "fwrite" in statement else statement
            source = re.sub(r'\binitLogName\("\w+"|LOG_CALL_AS\("\w+"', "", source)
            source = re.sub(r"\bk[A-Z]\w+", lambda name: constants.get(name[0], ""), source)
            yield from (literal[1:-1] for literal in re.findall(STRING, source))
        previous = statement


def pattern(text):
    """Matches the text with values in place of its placeholders; None when next to nothing else is in it."""
    pieces = re.split(VALUE, text.replace("\\n", "").strip())
    return re.compile(".*?".join(map(re.escape, pieces))) if len("".join(pieces)) > 4 else None


def main():
    sources = [path for path in sorted((PROJECT / "src").rglob("*")) if path.suffix in (".cpp", ".h", ".mm")]
    known = {text: pattern(text) for path in sources for text in texts(path.read_text()) if pattern(text)}
    rows = re.findall(r"^\| (.*?) \|", GUIDE.read_text(), flags=re.M)
    lines = [code for row in rows for code in re.findall("`([^`]*)`", row)]
    guide = "\n".join(re.findall("`([^`\n]*)`", GUIDE.read_text()))
    missing = [text for text, found in known.items() if not found.search(guide)]
    stale = [line for row, line in ((r, re.findall("`([^`]*)`", r)) for r in rows)
             if line and row.startswith("`") and not any(found.search(line[0]) for found in known.values())]
    for text in missing:
        print("not explained in %s: %s" % (GUIDE.name, text))
    for line in stale:
        print("explained in %s, but written nowhere: %s" % (GUIDE.name, line[0]))
    print("%d texts, %d lines in the guide" % (len(known), len(lines)))
    return 1 if missing or stale or len(known) < 50 else 0


if __name__ == "__main__":
    sys.exit(main())

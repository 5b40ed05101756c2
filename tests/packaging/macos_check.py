#!/usr/bin/env python3
"""macos_check.py EXECUTABLE: breaks this one, which is as it should be, in every way that packaging/macos/check looks
for, and sees it say so. Run by packaging/macos/build."""
import pathlib
import re
import struct
import subprocess
import sys
import tempfile

MACOS = pathlib.Path(__file__).resolve().parents[2] / "packaging/macos"
sys.path.append(str(MACOS))
from code_signature import CODE_SIGNATURE, load_commands, sign  # noqa: E402

BOTH, ARM = ("x86_64", "arm64"), ("arm64",)
BUILD_VERSION = 0x32  # a load command
BUNDLE, UNKNOWN, MACOS_12, ONE = (number.to_bytes(4, "little") for number in (8, 0x7f, 12 << 16, 1))

# The halves in which something is changed: so many bytes after the first such bytes, or after the start of such a load
# command, to what; then all that the check says of each. Where both are changed, they are signed again. In the table of
# symbols a name follows a zero byte.
BROKEN = [
    (BOTH, b"", 12, BUNDLE, r"is no 64-bit executable for \w+"),
    (BOTH, BUILD_VERSION, 12, MACOS_12, r"asks for macOS 12\.0 or newer, not for 11\.0"),
    (BOTH, b"/usr/lib/libz.1", 0, b"/opt", r"loads /opt/lib/libz\.1\.dylib, which a user's Mac may not have"),
    (BOTH, b"\0_deflateEnd\0", 10, b"m",
     "takes libz _deflateEmd, which no stub lists", "does not use libz _deflateEnd: take it out of the stub"),
    (BOTH, b"cat /etc/resolv.conf >", 0, b"tac", "lacks the command text 'cat /etc/resolv.conf >> '"),
    (BOTH, b"__unwind_info\0", 40, bytes(8), "has no unwind information"),
    (BOTH, b"__DATA_CONST\0", 60, bytes(4), r"names the SDK 14\.0, but does not mark __DATA_CONST as read-only"),
    (ARM, CODE_SIGNATURE, 0, UNKNOWN, "has no code signature"),
    (ARM, CODE_SIGNATURE, 12, ONE, "has a code signature for another length"),
    (ARM, b"_deflateEnd\0", 0, b"~", r"has a code signature that does not fit 1 of its \d+ pages")]


def expect(patterns, content):
    with tempfile.NamedTemporaryFile() as file:
        file.write(content)
        file.flush()
        words = [MACOS / "check", "--cross", file.name]
        said = subprocess.run(words, stderr=subprocess.PIPE, text=True, check=False).stderr
    if not re.fullmatch("".join(r"macos: \w+%s\n" % pattern for pattern in patterns), said):
        sys.exit(f"the check should have said of a broken file:\n{patterns}\nbut said:\n{said}")


def main(program):
    whole = pathlib.Path(program).read_bytes()
    places = [struct.unpack_from(">2I", whole, 16 + 20 * entry) for entry in range(whole[7])]
    halves = dict(zip(BOTH, (slice(start, start + size) for start, size in places)))
    expect([" is as it should be"], whole)
    expect([": is for x86_64, not for x86_64 and arm64"], whole[halves["x86_64"]])
    for names, what, offset, new, *patterns in BROKEN:
        broken = bytearray(whole)
        for name in names:
            half = broken[halves[name]]
            start = half.index(what) if isinstance(what, bytes) else dict(load_commands(half))[what]
            half[start + offset:start + offset + len(new)] = new
            if names == BOTH:
                sign(half, half)
            broken[halves[name]] = half
        expect([r" \(%s\): %s" % (name, pattern) for name in names for pattern in patterns], broken)


main(sys.argv[1])

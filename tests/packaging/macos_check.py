#!/usr/bin/env python3
"""Breaks one half of a universal macOS executable in every way that packaging/macos/check looks for, and sees it say so.

Usage: macos_check.py EXECUTABLE, one that is as it should be. Run by packaging/macos/build.
"""
import pathlib
import struct
import subprocess
import sys
import tempfile

MACOS = pathlib.Path(__file__).resolve().parents[2] / "packaging/macos"
sys.path.append(str(MACOS))
import code_signature  # noqa: E402

BUILD_VERSION, UNKNOWN = 0x32, 0x7f


def command(half, wanted):
    return next(at for number, at in code_signature.load_commands(half) if number == wanted)


def signature(half):
    return command(half, code_signature.CODE_SIGNATURE)


# Where the bytes are that change, or which ones, what they become, and what the check says then; the first ones are
# signed again.
RESIGNED = [
    (lambda half: 12, b"\x08", ["is no 64-bit executable for arm64"]),
    (lambda half: command(half, BUILD_VERSION) + 12, b"\0\0\x0c\0", ["asks for macOS 12.0 or newer, not for 11.0"]),
    (lambda half: half.index(b"/usr/lib/libz.1"), b"/opt",
     ["loads /opt/lib/libz.1.dylib, which a user's Mac may not have"]),
    (lambda half: half.index(b"_deflateEnd\0"), b"_deflateEmd",
     ["takes libz _deflateEmd, which no stub lists", "does not use libz _deflateEnd: take it out of the stub"]),
    (lambda half: half.index(b"cat /etc/resolv.conf >"), b"cat /etc/resolv_",
     ["lacks the command text 'cat /etc/resolv.conf >> '"]),
    (lambda half: half.index(b"__unwind_info\0") + 40, bytes(8), ["has no unwind information"]),
    (lambda half: half.index(b"__DATA_CONST\0") + 60, bytes(4),
     ["names the SDK 14.0, but does not mark __DATA_CONST as read-only"]),
]
SIGNED = [
    (signature, bytes([UNKNOWN]), ["has no code signature"]),
    (lambda half: signature(half) + 12, b"\1\0\0\0", ["has a code signature for another length"]),
    (lambda half: half.index(b"cat /etc/resolv.conf >"), b"C",
     ["has a code signature that does not fit 1 of its {} pages"]),
]


def expect(sentences, content):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "tool"
        path.write_bytes(content)
        said = subprocess.run([MACOS / "check", "--cross", path], stderr=subprocess.PIPE, text=True, check=False).stderr
    if sorted(said.splitlines()) != sorted("macos: tool" + sentence for sentence in sentences):
        sys.exit(f"the check should have said of a broken file:\n{sentences}\nbut said:\n{said}")


def main(program):
    whole = pathlib.Path(program).read_bytes()
    places = {kind: slice(at, at + size) for kind, _, at, size, _ in struct.iter_unpack(">5I", whole[8:48])}
    expect([" is as it should be"], whole)
    expect([": is for x86_64, not for x86_64 and arm64"], whole[places[0x01000007]])
    for row in RESIGNED + SIGNED:
        half = bytearray(whole[places[0x0100000c]])
        pages, at = len(code_signature.Signature(half).hashes), row[0](half)
        half[at:at + len(row[1])] = row[1]
        if row in RESIGNED:
            code_signature.sign(half, half)
        broken = bytearray(whole)
        broken[places[0x0100000c]] = half
        expect([f" (arm64): {text.format(pages)}" for text in row[2]], broken)


main(sys.argv[1])

#!/usr/bin/env python3
"""macos_check.py EXECUTABLE: breaks this one, which is as it should be, in every way that packaging/macos/check looks for,
and sees it say so. Run by packaging/macos/build."""
import pathlib
import struct
import subprocess
import sys
import tempfile

MACOS = pathlib.Path(__file__).resolve().parents[2] / "packaging/macos"
sys.path.append(str(MACOS))
import code_signature  # noqa: E402

BUNDLE, UNKNOWN, BUILD_VERSION, MACOS_12, SIGNATURE = 8, 0x7f, 0x32, 12 << 16, code_signature.CODE_SIGNATURE
HALVES = {0x01000007: "x86_64", 0x0100000c: "arm64"}


def put(half, at, number, size=4):
    half[at:at + size] = number.to_bytes(size, "little")


def command(half, wanted):
    return next(at for number, at in code_signature.load_commands(half) if number == wanted)


def replace(half, old, new):
    assert old in half and len(old) == len(new)
    half[:] = half.replace(old, new)


# What is done to both halves, which are signed again then, and what the check says of each.
BOTH = [
    (lambda half: put(half, 12, BUNDLE), ["is no 64-bit executable for {}"]),
    (lambda half: put(half, command(half, BUILD_VERSION) + 12, MACOS_12), ["asks for macOS 12.0 or newer, not for 11.0"]),
    (lambda half: replace(half, b"/usr/lib/libz.1", b"/opt/lib/libz.1"), ["loads /opt/lib/libz.1.dylib, which a user's Mac may not have"]),
    (lambda half: replace(half, b"_deflateEnd\0", b"_deflateEmd\0"),
     ["takes libz _deflateEmd, which no stub lists", "does not use libz _deflateEnd: take it out of the stub"]),
    (lambda half: replace(half, b"cat /etc/resolv.conf >", b"cat /etc/resolv_conf >"), ["lacks the command text 'cat /etc/resolv.conf >> '"]),
    (lambda half: put(half, half.index(b"__unwind_info\0") + 40, 0, 8), ["has no unwind information"]),
    (lambda half: put(half, half.index(b"__DATA_CONST\0") + 60, 0), ["names the SDK 14.0, but does not mark __DATA_CONST as read-only"])]
# What is done to the arm64 half alone, after it was signed.
SIGNED = [
    (lambda half, _: put(half, command(half, SIGNATURE), UNKNOWN), "has no code signature"),
    (lambda half, _: put(half, command(half, SIGNATURE) + 12, 1), "has a code signature for another length"),
    (lambda half, _: put(half, len(half) // 2, half[len(half) // 2] ^ 1, 1), "has a code signature that does not fit 1 of its {pages} pages"),
    (code_signature.sign, "has a code signature that does not fit {pages} of its {pages} pages")]


def expect(sentences, content):
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "tool"
        path.write_bytes(content)
        said = subprocess.run([MACOS / "check", "--cross", path], stderr=subprocess.PIPE, text=True, check=False).stderr
    if sorted(said.splitlines()) != sorted("macos: tool" + sentence for sentence in sentences):
        sys.exit(f"the check should have said of a broken file:\n{sentences}\nbut said:\n{said}")


def main(program):
    whole = pathlib.Path(program).read_bytes()
    entries = [struct.unpack_from(">4I", whole, 8 + 20 * entry) for entry in range(whole[7])]
    halves = {HALVES[kind]: slice(start, start + size) for kind, _, start, size in entries}
    expect([" is as it should be"], whole)
    expect([": is for x86_64, not for x86_64 and arm64"], whole[halves["x86_64"]])
    for change, sentences in BOTH:
        broken = bytearray(whole)
        for place in halves.values():
            half = broken[place]
            change(half)
            code_signature.sign(half, half)
            broken[place] = half
        expect([f" ({name}): {text.format(name)}" for name in halves for text in sentences], broken)
    for change, sentence in SIGNED:
        half = bytearray(whole[halves["arm64"]])
        pages = len(code_signature.Signature(half).hashes)
        change(half, whole[halves["x86_64"]])
        broken = bytearray(whole)
        broken[halves["arm64"]] = half
        expect([f" (arm64): {sentence.format(pages=pages)}"], broken)


main(sys.argv[1])

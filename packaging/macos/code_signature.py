#!/usr/bin/env python3
"""Tells what is wrong with the ad hoc code signature of a Mach-O executable of one architecture; nothing when it fits.

Apple silicon ends a program at its first page that differs from what was signed. Nothing on Linux looks at that, so
the hashes of all pages are computed here again.
"""
import hashlib
import itertools
import struct
import sys

LOAD_COMMANDS_AT = 32
CODE_SIGNATURE = 0x1d
EMBEDDED_SIGNATURE = 0xfade0cc0
CODE_DIRECTORY = 0xfade0c02
AD_HOC = 0x2
SHA256 = (32, 2)  # bytes of a hash, kind of hash


def load_commands(image):
    """Yields number and place of each load command."""
    at = LOAD_COMMANDS_AT
    for _ in range(struct.unpack_from("<I", image, 16)[0]):
        number, size = struct.unpack_from("<2I", image, at)
        yield number, at
        at += size


class Signature:
    """The signature of `image`; raises ValueError when there is none or it is of another kind."""

    def __init__(self, image):
        places = [at for number, at in load_commands(image) if number == CODE_SIGNATURE]
        if not places:
            raise ValueError("has no code signature")
        self.start, self.size = struct.unpack_from("<2I", image, places[0] + 8)
        magic, _, blobs = struct.unpack_from(">3I", image, self.start)
        if magic != EMBEDDED_SIGNATURE:
            raise ValueError("has a code signature that is none")
        slots = [struct.unpack_from(">2I", image, self.start + 12 + 8 * blob) for blob in range(blobs)]
        directory = self.start + dict(slots).get(0, 0)
        (magic, _, _, self.flags, hashes, _, _, count, self.code_bytes, *kind, _,
         page_power) = struct.unpack_from(">9I4B", image, directory)
        if magic != CODE_DIRECTORY or tuple(kind) != SHA256 or not self.flags & AD_HOC:
            raise ValueError("has a code signature that is not an ad hoc one with SHA-256")
        self.page_bytes = 1 << page_power
        self.hashes_at = directory + hashes
        self.hashes = [image[at:at + 32] for at in range(self.hashes_at, self.hashes_at + 32 * count, 32)]

    def compute(self, image):
        """The hashes that the pages of `image` have in truth."""
        return [hashlib.sha256(image[at:min(at + self.page_bytes, self.code_bytes)]).digest()
                for at in range(0, self.code_bytes, self.page_bytes)]


def fault(image):
    """What is wrong, in words; empty when nothing is."""
    try:
        signature = Signature(image)
    except (ValueError, struct.error) as unreadable:
        return str(unreadable)
    if signature.code_bytes != signature.start or signature.start + signature.size != len(image):
        return "has a code signature for another length"
    computed = signature.compute(image)
    wrong = sum(pair[0] != pair[1] for pair in itertools.zip_longest(computed, signature.hashes))
    return f"has a code signature that does not fit {wrong} of its {len(computed)} pages" if wrong else ""


def sign(image, pages_of):
    """Gives `image`, a bytearray, the hashes of the pages of another one or its own; one without signature gets none."""
    if any(number == CODE_SIGNATURE for number, _ in load_commands(image)):
        signature = Signature(image)
        hashes = b"".join(signature.compute(pages_of))
        image[signature.hashes_at:signature.hashes_at + len(hashes)] = hashes


if __name__ == "__main__":
    with open(sys.argv[1], "rb") as file:
        print(fault(file.read()))

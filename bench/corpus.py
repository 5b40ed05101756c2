"""A tree like those that the tool finds on a Mac, the same for the same numbers on every machine."""
import os
import random
import struct

_CLIENT = "Library/Application Support/oBrela"
_AGENT = "var/log/quelmar/OKVU3_LOG/"
# Folder, file name, kind, files in a tree of 224 MB, their mean size in bytes.
_LAYOUT = [
    ("Users/root/" + _CLIENT + "/logs", "oBrela_%04d.log", "text", 80, 1_000_000),
    ("Users/root/" + _CLIENT + "/logs/render", "render_%04d.xlog", "text", 40, 500_000),
    ("Users/root/" + _CLIENT + "/logs/modules", "%04d.txt", "text", 2000, 3_000),
    ("Users/root/" + _CLIENT + "/database", "store_%04d.db", "database", 12, 2_000_000),
    ("Users/root/" + _CLIENT + "/nsdbase", "name_%04d", "database", 2500, 1_000),
    ("Users/root/" + _CLIENT + "/Electron Crashes", "%04d.dmp", "dump", 20, 300_000),
    (_CLIENT + "/database", "shared_%04d.sqlite3", "database", 6, 2_000_000),
    (_CLIENT + "/iddbase", "map_%04d.mmap3", "database", 4, 2_000_000),
    (_CLIENT + "/netData", "flow_%04d.json", "json", 40, 250_000),
    (_CLIENT + "/Crash", "crash_%04d.dmp", "dump", 10, 2_400_000),
    ("Library/Application Support/uem/logs/quelmarlogs", "uem_%04d.log", "text", 200, 60_000),
    ("Library/Logs/DiagnosticReports", "oBrela_%04d.ips", "json", 60, 60_000),
    (_AGENT + "okvu_agent_sys", "agent_%04d.log", "text", 14, 800_000),
    (_AGENT + "okvu_service", "service_%04d.back", "text", 14, 400_000),
]
_WHOLE_BYTES = 224_000_000
_WORDS = (b"tunnel route session policy refresh gateway packet dropped resolve timeout retry handshake token accepted "
          b"interface flow closed opened state changed update cache miss peer key rotated config applied user").split()


def _text(rng):
    stamp = 1_700_000_000_000
    while True:
        stamp += rng.randrange(400)
        yield b"2026-11-%02d %02d:%02d:%02d.%03d [%s] [%d] [%s:%s:%d] %s id=%08x addr=10.%d.%d.%d:%d took %d us\n" % (
            stamp // 86_400_000 % 28 + 1, stamp // 3_600_000 % 24, stamp // 60_000 % 60, stamp // 1000 % 60,
            stamp % 1000, rng.choice((b"info", b"info", b"info", b"debug", b"warning")), 4000 + rng.randrange(12),
            *rng.choices(_WORDS, k=2), rng.randrange(900), b" ".join(rng.choices(_WORDS, k=6)), rng.getrandbits(32),
            rng.randrange(4), rng.randrange(256), rng.randrange(256), rng.randrange(65536), rng.randrange(90_000))


def _json(rng):
    for number in range(1 << 62):
        yield b'{"flow": %d, "process": "%s", "domain": "%s.%s.example", "bytes": [%d, %d], "open": %s},\n' % (
            number, *rng.choices(_WORDS, k=3), rng.randrange(1 << 24), rng.randrange(1 << 16),
            rng.choice((b"true", b"false")))


def _database(rng):
    """Pages: a header, records of numbers, names and some random bytes, and a part that was never filled."""
    while True:
        rows = b"".join(struct.pack(">IHB", rng.getrandbits(20), rng.getrandbits(9), 17) +
                        rng.choice(_WORDS) + rng.randbytes(12) for _ in range(rng.randrange(40, 130)))
        yield (b"\x0d" + struct.pack(">HHH", len(rows), 0, rng.getrandbits(12)) + rows).ljust(4096, b"\0")[:4096]


def _dump(rng):
    """Memory: empty pages, pages of pointers (the same few hundred again and again), strings, and noise."""
    pointers = [struct.pack("<Q", 0x7FFF_0000_0000 + rng.getrandbits(18) * 16) for _ in range(400)]
    while True:
        kind = rng.random()
        if kind < 0.35:
            yield bytes(4096)
        elif kind < 0.75:
            yield b"".join(rng.choices(pointers, k=512))
        elif kind < 0.9:
            yield b"\0".join(rng.choices(_WORDS, k=600)).ljust(4096, b"\0")
        else:
            yield rng.randbytes(4096)


_KINDS = {"text": _text, "json": _json, "database": _database, "dump": _dump}


def write_file(path, kind, left, seed):
    """Makes one file of `left` bytes."""
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        for piece in _KINDS[kind](random.Random(seed)):
            file.write(piece[:left])
            left -= len(piece)
            if left <= 0:
                break


def write(root, megabytes, seed, longer=1):
    """Makes the tree at root: about so many MB; `longer` makes each file so many times as long."""
    for folder, name, kind, files, mean in _LAYOUT:
        wanted = files * megabytes * 1e6 / _WHOLE_BYTES
        for number in range(max(1, round(wanted))):
            rng = random.Random("%d %s %d" % (seed, folder, number))
            left = round(mean * rng.uniform(0.5, 1.5) * min(1, wanted)) * longer
            write_file(os.path.join(root, folder, name % number), kind, left, rng.random())


def size(root):
    """Files and bytes below root."""
    files = [os.path.join(folder, name) for folder, _, names in os.walk(root) for name in names]
    return len(files), sum(map(os.path.getsize, files))

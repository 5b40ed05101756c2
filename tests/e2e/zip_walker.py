"""Reads an archive by readers that are not ours, and byte by byte; names all that an old or a new reader trips over."""
import functools
import pathlib
import struct
import subprocess
import zipfile
import zlib

FULL16, FULL32 = 0xffff, 0xffffffff
AT_ONCE, KEPT = 1 << 20, 1 << 25  # entries up to these sizes are deflated in one go, and returned


@functools.lru_cache
def best(data):
    """The data as it is deflated at level 9."""
    stream = zlib.compressobj(9, zlib.DEFLATED, -15, 9)
    return stream.compress(data) + stream.flush()


def local_header(entry, name, needed, sizes, extra=b""):
    return struct.pack("<4s5H3I2H", b"PK\3\4", needed, entry.flag_bits, entry.compress_type, 0, 0, entry.CRC,
                       *sizes, len(name), len(extra)) + name + extra


def end_records(count, length, start):
    """What follows a directory: with 64-bit fields where one of the others is too short for its value."""
    long, fields = b"", (min(count, FULL16), min(count, FULL16), min(length, FULL32), min(start, FULL32))
    if fields != (count, count, length, start):
        long = struct.pack("<4sQ2H2I4Q", b"PK\6\6", 44, 45, 45, 0, 0, count, count, length, start)
        long += struct.pack("<4sIQI", b"PK\6\7", 0, start + length, 1)
    return long + struct.pack("<4s4H2IH", b"PK\5\6", 0, 0, *fields, 0)


def walk(path):
    """([(name, content or None if long, size, traits)], traits of the whole). Traits are texts, also wrong ones."""
    raw, entries, position = pathlib.Path(path).read_bytes(), [], 0
    unzip = subprocess.run(["unzip", "-tqq", path], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    whole = ["for unzip: " + (unzip.stdout.strip() or "whole")]
    try:
        archive = zipfile.ZipFile(path)
    except zipfile.BadZipFile as failure:
        return [], whole + ["for zipfile: %s" % failure]
    for entry in archive.infolist():
        name = entry.orig_filename.encode("utf-8" if entry.flag_bits & 0x800 else "cp437")
        traits = ["method %d, flags %#x, made by %d %d, needs %d, date %d-%d-%d %d:%d:%d, attributes %d %d" % (
            entry.compress_type, entry.flag_bits, entry.create_system, entry.create_version, entry.extract_version,
            *entry.date_time, entry.internal_attr, entry.external_attr)]
        if entry.extra or entry.comment or entry.volume:
            traits.append("more in the directory: %r %r %d" % (entry.extra, entry.comment, entry.volume))
        sizes = entry.compress_size, entry.file_size
        long = struct.pack("<2H2Q", 1, 16, *sizes[::-1])
        header = local_header(entry, name, entry.extract_version, sizes)
        if not raw.startswith(header, position):
            header = local_header(entry, name, 45, (FULL32, FULL32), long)
            traits.append("long local header" if raw.startswith(header, position) else "its two headers differ")
        if entry.header_offset != position:
            traits.append("something lies before it")
        begin = entry.header_offset + len(header)
        position, stream = begin + entry.compress_size, zlib.decompressobj(-15)
        packed = raw[begin:position]
        try:
            content = stream.decompress(packed)
        except zlib.error as failure:
            content = str(failure).encode()
        if (len(content), zlib.crc32(content), stream.eof, stream.unused_data) != (sizes[1], entry.CRC, True, b""):
            traits.append("its data is damaged")
        elif 0 < len(content) <= AT_ONCE and best(content) != packed:
            traits.append("not deflated at level 9")
        kept = content if len(content) <= KEPT else None
        entries.append((name.decode("utf-8", "surrogateescape"), kept, entry.file_size, traits))
    length = len(raw) - position - len(end_records(len(entries), 0, position))
    if archive.start_dir != position or raw[position + length:] != end_records(len(entries), length, position):
        whole.append("its directory or what follows it is wrong")
    return entries, whole

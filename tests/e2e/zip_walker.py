"""Reads an archive from its raw bytes, and names all that an old or a new reader trips over."""
import functools
import struct
import zlib

LOCAL, CENTRAL = "<4s5H3I2H", "<4s6H3I5H2I"
END, LOCATOR, END64 = "<4s4H2IH", "<4sIQI", "<4sQ2H2I4Q"
FULL16, FULL32 = 0xffff, 0xffffffff
AT_ONCE, KEPT = 1 << 20, 1 << 25  # entries up to these sizes are deflated in one go, and returned


def long_fields(extra, fields):
    """Takes the values that are too long for their fields from the extra field; returns them, and what else is there."""
    fields, rest = list(fields), []
    while extra:
        kind, size = struct.unpack("<2H", extra[:4])
        body, extra = extra[4:4 + size], extra[4 + size:]
        rest.append("%#x:%d" % (kind, size))
        for at, value in enumerate(fields if kind == 1 else ()):
            if value == FULL32 and len(body) >= 8:
                fields[at], body = struct.unpack("<Q", body[:8])[0], body[8:]
    return fields, ",".join(rest)


@functools.lru_cache
def best(data):
    """The data as it is deflated at level 9."""
    stream = zlib.compressobj(9, zlib.DEFLATED, -15, 9)
    return stream.compress(data) + stream.flush()


def unpack(data, packed, size, crc):
    """What is wrong with an entry's data, and how it was deflated."""
    stream, got, sum32 = zlib.decompressobj(-15), 0, 0
    for at in range(0, len(packed), 1 << 20):
        part = stream.decompress(packed[at:at + (1 << 20)])
        got, sum32 = got + len(part), zlib.crc32(part, sum32)
        data.append(part) if got <= KEPT else data.clear()
    wrong = [] if (got, sum32, stream.eof, stream.unused_data) == (size, crc, True, b"") else ["its data is damaged"]
    if got <= AT_ONCE and size and best(b"".join(data)) != packed:
        wrong.append("not deflated at level 9")
    return wrong


def walk(raw):
    """([(name, content or None if it is long, size, traits)], traits of the whole). Traits are texts, wrong ones included."""
    size, whole, entries, position = len(raw), [], [], 0
    end = struct.unpack(END, raw[-22:].rjust(22, b"\0"))
    if end[0] != b"PK\5\6" or end[1:3] != (0, 0) or end[3] != end[4] or end[7]:
        return [], ["no end record in its last 22 bytes"]
    count, length, start, after = end[4], end[5], end[6], size - 22
    if raw[-42:-38] == b"PK\6\7":
        _, disk, at, disks = struct.unpack(LOCATOR, raw[-42:-22])
        end64 = struct.unpack(END64, raw[at:at + 56])
        whole.append("64-bit end record, versions %d %d" % end64[2:4])
        if (end64[:2], disk, disks, at, end64[4:6]) != ((b"PK\6\6", 44), 0, 1, size - 98, (0, 0)) or end64[6] != end64[7]:
            whole.append("its 64-bit end record is wrong")
        if any(short not in (full, max) for short, full, max in zip(end[4:7], end64[7:], (FULL16, FULL32, FULL32))):
            whole.append("its end records differ")
        count, length, start, after = *end64[7:], at
    if start + length != after:
        whole.append("something lies between its directory and its end")
    at = start
    while at < after:
        (mark, made, needed, flags, method, time, date, crc, packed, length, *lengths, disk, inner, outer,
         offset) = struct.unpack(CENTRAL, raw[at:at + 46])
        name, extra, comment = (raw[at + 46 + sum(lengths[:n]):at + 46 + sum(lengths[:n + 1])] for n in range(3))
        (length, packed, offset), long = long_fields(extra, (length, packed, offset))
        traits = ["method %d, flags %#x, made by %d, needs %d, date %d %d, attributes %d %d" % (
            method, flags, made, needed, date, time, inner, outer)] + ["central extra " + long] * bool(long)
        head = struct.unpack(LOCAL, raw[offset:offset + 30])
        local_extra = raw[offset + 30 + head[9]:offset + 30 + head[9] + head[10]]
        sizes, long = long_fields(local_extra, (head[8], head[7]))
        traits += ["local extra " + long] * bool(long) + ["local header needs %d" % head[1]] * (head[1] != needed)
        if mark + head[0] != b"PK\1\2PK\3\4" or head[2:7] != (flags, method, time, date, crc) or (
                sizes != [length, packed] or raw[offset + 30:offset + 30 + head[9]] != name or disk or comment):
            traits.append("its two headers differ")
        if offset != position:
            traits.append("something lies before it")
        begin = offset + 30 + head[9] + head[10]
        position, content = begin + packed, []
        traits += unpack(content, raw[begin:position], length, crc) if method == 8 else ["not deflated"]
        entries.append((name.decode("utf-8", "surrogateescape"), b"".join(content) if length <= KEPT else None, length, traits))
        at += 46 + sum(lengths)
    if (at, count, position) != (after, len(entries), start):
        whole.append("its directory does not fit its entries")
    return entries, whole

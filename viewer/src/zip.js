// Reading the zip: its end record, its directory, and the content of entries.
const MIB = 1 << 20;
const DIRECTORY_BYTES = 64 * MIB, ENTRY_BYTES = 2048 * MIB;  // read at most: of the directory, of one entry
const FEED_BYTES = 16384;  // inflated at a time: what comes out, up to 1032 times as much, must fit into memory
const RATIO = 1032;  // the highest of deflate
const END = 0x06054b50, END_64 = 0x07064b50, ENTRY = 0x02014b50, LOCAL = 0x04034b50;

class Fault extends Error {}  // its message is shown on the page
function sentence(error) {
  if (error instanceof Fault) return error.message;
  return error instanceof RangeError ? 'This is damaged: what it says of itself cannot be.' :
    `This cannot be read: ${error.message}`;
}
const bytesText = (bytes) => ['B', 'KiB', 'MiB', 'GiB'].reduce((text, unit, n) => n && bytes < 1024 ** n ? text :
  `${n ? (bytes / 1024 ** n).toFixed(1) : bytes} ${unit}`, '');
const bytesAt = async (file, at, length) => new DataView(await file.slice(at, at + length).arrayBuffer());
const number64 = (view, at) => Number(view.getBigUint64(at, true));
const begins = (view, sign) => view.byteLength >= 4 && view.getUint32(0, true) === sign;

/** The tool stores UTF-8 without the flag that says so; a name that is not UTF-8 is shown byte by byte. */
const utf8 = new TextDecoder('utf-8', {fatal: true, ignoreBOM: true}), bytewise = new TextDecoder('latin1');
function decodeName(bytes) { try { return utf8.decode(bytes); } catch { return bytewise.decode(bytes); } }

async function findDirectory(file) {
  const tailAt = Math.max(0, file.size - 22 - 65535 - 20), tail = await bytesAt(file, tailAt, file.size - tailAt);
  const isEnd = (at) => tail.getUint32(at, true) === END && at + 22 + tail.getUint16(at + 20, true) <= tail.byteLength;
  let end = tail.byteLength - 22;
  while (end >= 0 && !isEnd(end)) --end;
  if (end < 0 && !begins(await bytesAt(file, 0, 4), LOCAL)) throw new Fault('This is no zip archive.');
  if (end < 0) throw new Fault('This archive is torn: its end is missing. Run the tool again; ' +
    '“zip -FF torn.zip --out rescued.zip” saves the files that were finished.');
  let place = {size: tail.getUint32(end + 12, true), at: tail.getUint32(end + 16, true),
    count: tail.getUint16(end + 10, true)};
  if (end >= 20 && tail.getUint32(end - 20, true) === END_64) {
    const record = await bytesAt(file, number64(tail, end - 12), 56);
    place = {size: number64(record, 40), at: number64(record, 48), count: number64(record, 32)};
  }
  const isThere = !place.size || begins(await bytesAt(file, place.at, 4), ENTRY);
  if (place.at + place.size > tailAt + end || !isThere)
    throw new Fault('This archive is damaged: its directory is not where its end says.');
  return place;
}

/** Parses one entry of the directory, whose name ends at `nameEnd` and whose extra fields end at `extraEnd`. */
function entryAt(view, at, nameEnd, extraEnd) {
  const short = (place) => view.getUint16(place, true), long = (place) => view.getUint32(place, true);
  const entry = {flags: short(at + 8), method: short(at + 10), crc: long(at + 16), packed: long(at + 20),
    size: long(at + 24), at: long(at + 42), name: decodeName(new Uint8Array(view.buffer, at + 46, nameEnd - at - 46))};
  for (let extra = nameEnd; extra + 4 <= extraEnd; extra += 4 + short(extra + 2)) {
    const large = short(extra) === 1 ? ['size', 'packed', 'at'].filter((key) => entry[key] === 0xffffffff) : [];
    large.forEach((key, i) => {
      if (extra + 12 + 8 * i <= extraEnd) entry[key] = number64(view, extra + 4 + 8 * i);
    });
  }
  return entry;
}

/** Reads the directory: {entries, notes}; the notes are [name, sentence] about errors in it, the name mostly empty. */
async function readDirectory(file) {
  const {at: start, size, count} = await findDirectory(file), entries = [], notes = [];
  const view = await bytesAt(file, start, Math.min(size, DIRECTORY_BYTES));
  let at = 0, seen = 0;
  while (at + 46 <= view.byteLength && view.getUint32(at, true) === ENTRY) {
    const nameEnd = at + 46 + view.getUint16(at + 28, true), extraEnd = nameEnd + view.getUint16(at + 30, true);
    const next = extraEnd + view.getUint16(at + 32, true);
    if (next > view.byteLength) break;
    const entry = entryAt(view, at, nameEnd, extraEnd);
    if (entry.size || !entry.name.endsWith('/')) entries.push(entry);
    [at, seen] = [next, seen + 1];
  }
  const wrong = entries.filter((e) => e.at + e.packed > start || e.size > e.packed * RATIO + RATIO);
  if (size > DIRECTORY_BYTES) notes.push(['', `Its directory is over ${bytesText(DIRECTORY_BYTES)}: the rest is not shown.`]);
  else if (at < size) notes.push(['', `Its directory is damaged: only the first ${seen} of its files can be read.`]);
  else if (count !== seen && count !== seen % 65536)
    notes.push(['', `It claims to hold ${count} files; its directory names ${seen}.`]);
  if (wrong.length) notes.push([wrong[0].name, `Sizes or places that cannot be: ${wrong.length} of its files.`]);
  if (!entries.length) notes.push(['', 'It holds no file.']);
  return {entries, notes};
}

async function packedOf(file, entry) {
  if (entry.flags & 1 || ![0, 8].includes(entry.method))
    throw new Fault('This file is encrypted, or packed in a way that browsers do not know.');
  const head = await bytesAt(file, entry.at, 30);
  if (!begins(head, LOCAL)) throw new Fault('This file is not where the directory says.');
  const from = entry.at + 30 + head.getUint16(26, true) + head.getUint16(28, true);
  return file.slice(from, from + entry.packed);
}
async function* piecesOf(packed) {
  for (let at = 0; at < packed.size; at += MIB) {
    const block = new Uint8Array(await packed.slice(at, at + MIB).arrayBuffer());
    for (let i = 0; i < block.length; i += FEED_BYTES) yield block.subarray(i, i + FEED_BYTES);
  }
}
const GZIP_HEAD = new Uint8Array([0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 255]);
/** Inflates as if it were gzip, since the browser then compares size and checksum itself, faster than a script can. */
async function* inflated(packed, entry, progress) {
  const {writable, readable} = new DecompressionStream('gzip');
  const writer = writable.getWriter(), reader = readable.getReader(), end = new DataView(new ArrayBuffer(8));
  end.setUint32(0, entry.crc, true);
  end.setUint32(4, entry.size % 2 ** 32, true);
  const feed = async () => {
    await writer.write(GZIP_HEAD);
    for await (const piece of piecesOf(packed)) await writer.write(piece);
    progress.isFed = true;  // written alone, the end cannot take content with it when it does not fit
    await writer.write(new Uint8Array(end.buffer));
    await writer.close();
  };
  feed().catch((error) => writer.abort(error).catch(() => {}));  // makes the reader fail too, instead of waiting
  try {
    for (let read; !(read = await reader.read()).done;) yield read.value;
  } finally {
    reader.cancel().catch(() => {});
  }
}

/** CRC_TABLES[n][byte]: the checksum of a byte and n zero bytes after it. */
const CRC_TABLES = [Int32Array.from({length: 256}, (_, byte) =>
  Array(8).fill().reduce((crc) => crc & 1 ? 0xedb88320 ^ (crc >>> 1) : crc >>> 1, byte))];
for (let n = 1; n < 4; ++n)
  CRC_TABLES[n] = CRC_TABLES[n - 1].map((crc) => CRC_TABLES[0][crc & 255] ^ (crc >>> 8));
function addCrc(crc, bytes) {
  const [t0, t1, t2, t3] = CRC_TABLES, whole = bytes.length & ~3;
  for (let i = 0; i < whole; i += 4) {
    crc ^= bytes[i] | bytes[i + 1] << 8 | bytes[i + 2] << 16 | bytes[i + 3] << 24;
    crc = t3[crc & 255] ^ t2[crc >>> 8 & 255] ^ t1[crc >>> 16 & 255] ^ t0[crc >>> 24];
  }
  for (let i = whole; i < bytes.length; ++i) crc = t0[(crc ^ bytes[i]) & 255] ^ (crc >>> 8);
  return crc;
}

/** Yields an entry's content in pieces. Throws a Fault where it ends early, or at its end when it is another. */
async function* contentOf(file, entry) {
  const packed = await packedOf(file, entry), progress = {isFed: !entry.method};
  let length = 0, crc = -1, isWhole = false;
  try {
    for await (const piece of entry.method ? inflated(packed, entry, progress) : piecesOf(packed)) {
      length += piece.length;
      if (!entry.method) crc = addCrc(crc, piece);
      yield piece;
    }
    isWhole = true;
  } catch { /* told below */ }
  if (!progress.isFed) throw new Fault(`This file is damaged or cut off after ${bytesText(length)}.`);
  if (length !== entry.size)
    throw new Fault(`This file holds ${bytesText(length)}; the directory says ${bytesText(entry.size)}.`);
  if (!isWhole || !entry.method && (crc ^ entry.crc) !== -1)
    throw new Fault('This file is damaged: its checksum is another.');
}

/** Unpacks an entry: {blob, fault}. */
async function unpack(file, entry) {
  const parts = [], pieces = [];
  let length = 0, fault = '';
  try {
    for await (const piece of contentOf(file, entry)) {
      length += piece.length;
      if (length > ENTRY_BYTES) throw new Fault(`A page can unpack ${bytesText(ENTRY_BYTES)} at most: use unzip.`);
      if (pieces.push(piece) >= 128) parts.push(new Blob(pieces.splice(0)));  // the browser may move it to the disk
    }
  } catch (error) {
    fault = sentence(error);
  }
  return {blob: new Blob([...parts, ...pieces], {type: 'application/octet-stream'}), fault};
}

// Reading the zip: its end record, its directory, and the content of entries.
const MIB = 1 << 20;
const DIRECTORY_BYTES = 64 * MIB, ENTRY_BYTES = 2048 * MIB;  // read at most: of the directory, of one entry
const FEED_BYTES = 16384;  // inflated at a time: what comes out, up to RATIO times as much, must fit into memory
const RATIO = 1032;  // the highest of deflate
const END = 0x06054b50, END_64 = 0x07064b50, ENTRY = 0x02014b50, LOCAL = 0x04034b50;

class Fault extends Error {}  // its message is shown on the page
const sentence = (error) => error instanceof Fault ? error.message : error instanceof RangeError ?
  'This is damaged: what it says of itself cannot be.' : `This cannot be read: ${error.message}`;
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
  let [size, at] = [tail.getUint32(end + 12, true), tail.getUint32(end + 16, true)],
    count = tail.getUint16(end + 10, true);
  if (end >= 20 && tail.getUint32(end - 20, true) === END_64) {
    const record = await bytesAt(file, number64(tail, end - 12), 56);
    [size, at, count] = [number64(record, 40), number64(record, 48), number64(record, 32)];
  }
  if (at + size > tailAt + end || size && !begins(await bytesAt(file, at, 4), ENTRY))
    throw new Fault('This archive is damaged: its directory is not where its end says.');
  return {size, at, count};
}
/** Parses one entry of the directory, whose name ends at `nameEnd` and whose extra fields end at `extraEnd`. */
function entryAt(view, at, nameEnd, extraEnd) {
  const short = (place) => view.getUint16(place, true), long = (place) => view.getUint32(place, true);
  const entry = {flags: short(at + 8), method: short(at + 10), crc: long(at + 16), packed: long(at + 20),
    size: long(at + 24), at: long(at + 42), name: decodeName(new Uint8Array(view.buffer, at + 46, nameEnd - at - 46))};
  for (let extra = nameEnd; extra + 4 <= extraEnd; extra += 4 + short(extra + 2)) {
    const large = short(extra) === 1 ? ['size', 'packed', 'at'].filter((key) => entry[key] === 0xffffffff) : [];
    large.forEach((key, i) => { if (extra + 12 + 8 * i <= extraEnd) entry[key] = number64(view, extra + 4 + 8 * i); });
  }
  return entry;
}
/** Reads the directory: {entries, notes}; the notes are [name, sentence] about errors in it, the name mostly empty. */
async function readDirectory(file) {
  const {at: start, size, count} = await findDirectory(file), entries = [], notes = [];
  const view = await bytesAt(file, start, Math.min(size, DIRECTORY_BYTES));
  let at = 0, seen = 0;
  for (let next; at + 46 <= view.byteLength && view.getUint32(at, true) === ENTRY; ++seen, at = next) {
    const nameEnd = at + 46 + view.getUint16(at + 28, true), extraEnd = nameEnd + view.getUint16(at + 30, true);
    next = extraEnd + view.getUint16(at + 32, true);
    if (next > view.byteLength) break;
    const entry = entryAt(view, at, nameEnd, extraEnd);
    if (entry.size || !entry.name.endsWith('/')) entries.push(entry);
  }
  const wrong = entries.filter((e) => e.at + e.packed > start || e.size > e.packed * RATIO + RATIO);
  if (size > DIRECTORY_BYTES) notes.push(['', `It has more files than the ${seen} that are shown.`]);
  else if (at < size) notes.push(['', `Its directory is damaged: only the first ${seen} of its files can be read.`]);
  else if (count !== seen && count !== seen % 65536)
    notes.push(['', `It claims to hold ${count} files; its directory names ${seen}.`]);
  if (wrong.length) notes.push([wrong[0].name, `Sizes or places that cannot be: ${wrong.length} of its files.`]);
  if (!entries.length) notes.push(['', 'It holds no file.']);
  return {entries, notes};
}

let near = {};
/** Some bytes of a file, MIB at most. What follows them is kept, for the thousands of small entries that may come. */
async function bytesNear(file, at, length) {
  let {file: of, from, bytes} = near;
  if (of !== file || at < from || at + length > from + bytes.length) {
    [from, bytes] = [at, new Uint8Array(await file.slice(at, at + MIB).arrayBuffer())];
    near = {file, from, bytes};
  }
  return bytes.subarray(at - from, at - from + length);
}
/** Where the content of an entry begins. */
async function beginOf(file, entry) {
  if (entry.flags & 1 || ![0, 8].includes(entry.method))
    throw new Fault('This file is encrypted, or packed in a way that browsers do not know.');
  const head = await bytesNear(file, entry.at, 30), view = new DataView(head.buffer, head.byteOffset, head.length);
  if (!begins(view, LOCAL)) throw new Fault('This file is not where the directory says.');
  return entry.at + 30 + view.getUint16(26, true) + view.getUint16(28, true);
}
/** An entry as if it were gzip, in pieces: the browser then compares size and checksum, faster than a script can. */
async function* asGzip(file, from, entry, progress) {
  const number = (value, bytes) => Uint8Array.from({length: bytes}, (_, i) => Math.floor(value / 2 ** (8 * i)));
  yield Uint8Array.of(0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 255);
  for (let at = 0; at < entry.packed; at += MIB) {
    const block = await bytesNear(file, from + at, Math.min(MIB, entry.packed - at));
    for (let i = 0; i < block.length; i += FEED_BYTES) {
      const piece = block.subarray(i, i + FEED_BYTES);
      // What is not packed becomes a deflate block that is not packed either: its length, twice, goes before it.
      if (!entry.method) yield Uint8Array.of(0, ...number(piece.length, 2), ...number(65535 - piece.length, 2));
      yield piece;
    }
  }
  if (!entry.method) yield Uint8Array.of(1, 0, 0, 255, 255);
  progress.isFed = true;  // fed alone, the end cannot take content with it when it does not fit
  yield Uint8Array.of(...number(entry.crc, 4), ...number(entry.size, 4));
}
/** Yields an entry's content in pieces. Throws a Fault where it ends early, or at its end when it is another. */
async function* contentOf(file, entry) {
  const from = await beginOf(file, entry), progress = {isFed: false};
  const {writable, readable} = new DecompressionStream('gzip');
  const writer = writable.getWriter(), reader = readable.getReader();
  const feed = async () => {
    for await (const piece of asGzip(file, from, entry, progress)) await writer.write(piece);
    await writer.close();
  };
  feed().catch((error) => writer.abort(error).catch(() => {}));  // makes the reader fail too, instead of waiting
  let length = 0, isWhole = false;
  try {
    for (let read; !(read = await reader.read()).done; length += read.value.length) yield read.value;
    isWhole = true;
  } catch { /* told below */ } finally { reader.cancel().catch(() => {}); }
  if (!progress.isFed) throw new Fault(`This file is damaged or cut off after ${bytesText(length)}.`);
  if (length !== entry.size)
    throw new Fault(`This file holds ${bytesText(length)}; the directory says ${bytesText(entry.size)}.`);
  if (!isWhole) throw new Fault('This file is damaged: its checksum is another.');
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
  } catch (error) { fault = sentence(error); }
  return {blob: new Blob([...parts, ...pieces], {type: 'application/octet-stream'}), fault};
}

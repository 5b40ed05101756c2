// Reading the zip: its end record, its directory, and the content of entries.
const MIB = 1 << 20;
const FEED_BYTES = 16384;  // inflated at a time: what comes out, up to 1,032 times as much, must fit into memory
const GZIP_HEAD = Uint8Array.of(0x1f, 0x8b, 8, 0, 0, 0, 0, 0, 0, 255);
const END = 0x06054b50, END_64 = 0x07064b50, ENTRY = 0x02014b50, LOCAL = 0x04034b50;

class Fault extends Error {}  // its message is shown on the page
const sentence = (error) => error instanceof Fault ? error.message : `This cannot be read: ${error.message}`;
function bytesText(bytes) {
  const power = [3, 2, 1].find((n) => bytes >= 1024 ** n);
  return power ? `${(bytes / 1024 ** power).toFixed(1)} ${' KMG'[power]}iB` : `${bytes} B`;
}
const short = (bytes, at) => bytes[at] | bytes[at + 1] << 8;  // 0 behind the end
const long = (bytes, at) => (short(bytes, at) | short(bytes, at + 2) << 16) >>> 0;
const number64 = (bytes, at) => long(bytes, at) + long(bytes, at + 4) * 2 ** 32;
let near = {};
/** Some bytes of a file. What follows them is kept, for the thousands of small entries that may come. */
async function bytesAt(file, at, length) {
  if (near.file !== file || at < near.from || at + length > near.from + near.bytes.length)
    near = {file, from: at, bytes: new Uint8Array(await file.slice(at, at + Math.max(length, MIB)).arrayBuffer())};
  return near.bytes.subarray(at - near.from, at - near.from + length);
}
const utf8 = new TextDecoder('utf-8', {ignoreBOM: true});  // the tool stores names so, without the flag that says it

async function findDirectory(file) {
  const tailAt = Math.max(0, file.size - 22 - 65535 - 20), tail = await bytesAt(file, tailAt, file.size - tailAt);
  let end = tail.length - 22;
  while (end >= 0 && (long(tail, end) !== END || end + 22 + short(tail, end + 20) > tail.length)) --end;
  if (end < 0) throw new Fault(long(await bytesAt(file, 0, 4), 0) !== LOCAL ? 'This is no zip archive.' :
    'This archive is torn: its end is missing. Run the tool again; ' +
    '“zip -FF torn.zip --out rescued.zip” saves the files that were finished.');
  let count = short(tail, end + 10), size = long(tail, end + 12), at = long(tail, end + 16);
  if (end >= 20 && long(tail, end - 20) === END_64) {
    const record = await bytesAt(file, number64(tail, end - 12), 56);
    [count, size, at] = [32, 40, 48].map((place) => number64(record, place));
  }
  if (at + size > tailAt + end || size && long(await bytesAt(file, at, 4), 0) !== ENTRY)
    throw new Fault('This archive is damaged: its directory is not where its end says.');
  return {size, at, count};
}
/** Parses one entry of the directory; `next` is where it ends. */
function entryAt(bytes, at) {
  const nameEnd = at + 46 + short(bytes, at + 28), extraEnd = nameEnd + short(bytes, at + 30);
  const entry = {next: extraEnd + short(bytes, at + 32), name: utf8.decode(bytes.subarray(at + 46, nameEnd)),
    flags: short(bytes, at + 8), method: short(bytes, at + 10), crc: long(bytes, at + 16),
    packed: long(bytes, at + 20), size: long(bytes, at + 24), at: long(bytes, at + 42)};
  for (let extra = nameEnd; extra + 4 <= extraEnd; extra += 4 + short(bytes, extra + 2)) {
    if (short(bytes, extra) !== 1) continue;
    const large = ['size', 'packed', 'at'].filter((key) => entry[key] === 0xffffffff);
    large.forEach((key, i) => { if (extra + 12 + 8 * i <= extraEnd) entry[key] = number64(bytes, extra + 4 + 8 * i); });
  }
  return entry;
}
/** Reads the directory: {entries, notes}; the notes are [name, sentence] about errors in it, the name mostly empty. */
async function readDirectory(file) {
  const {at: start, size, count} = await findDirectory(file), entries = [], notes = [];
  const bytes = await bytesAt(file, start, Math.min(size, 64 * MIB));
  let at = 0, seen = 0;
  for (; at + 46 <= bytes.length && long(bytes, at) === ENTRY; ++seen) {
    const entry = entryAt(bytes, at);
    if (entry.next > bytes.length) break;
    if (entry.size || !entry.name.endsWith('/')) entries.push(entry);
    at = entry.next;
    await rest();
  }
  if (at < size || count !== seen && count !== seen % 65536)
    notes.push(['', `Its directory is damaged or too large: of ${count} files it names ${seen}.`]);
  if (!entries.length) notes.push(['', 'It holds no file.']);
  return {entries, notes};
}

/** An entry's content as a stream. What is deflated is made a gzip file: then the browser compares its checksum. */
async function streamOf(file, {flags, method, at, packed, crc, size}) {
  if (flags & 1 || ![0, 8].includes(method))
    throw new Fault('This file is encrypted, or packed in a way that browsers do not know.');
  const head = await bytesAt(file, at, 30);
  if (long(head, 0) !== LOCAL) throw new Fault('This file is not where the directory says.');
  let from = at + 30 + short(head, 26) + short(head, 28);
  const end = from + packed, pieces = new ReadableStream({
    start: (controller) => { if (method) controller.enqueue(GZIP_HEAD); },
    async pull(controller) {
      const piece = await bytesAt(file, from, Math.min(FEED_BYTES, end - from));
      from += piece.length;
      if (piece.length) return controller.enqueue(piece);
      if (method) controller.enqueue(Uint32Array.of(crc, size));  // alone: takes no content along if it is wrong
      return controller.close();
    }});
  return method ? pieces.pipeThrough(new DecompressionStream('gzip')) : pieces;
}
/** Yields an entry's content in pieces. Throws a Fault where it ends early, or at its end when it is another. */
async function* contentOf(file, entry, most = 2048 * MIB) {
  const reader = (await streamOf(file, entry)).getReader();
  const next = () => reader.read().catch(() => ({done: true, isWrong: true}));
  let length = 0, read;
  try {
    for (read = await next(); !read.done; read = await next()) {
      if (length >= most) throw new Fault(`Of this file only the first ${bytesText(length)} were read.`);
      length += read.value.length;
      yield read.value;
    }
  } finally { reader.cancel().catch(() => {}); }
  const told = `it holds ${bytesText(length)}; the directory says ${bytesText(entry.size)}.`;
  if (length !== entry.size) throw new Fault(`This file is damaged or cut off: ${told}`);
  if (read.isWrong) throw new Fault('This file is damaged: its checksum is another.');
}

// From bytes to text, and from text to what may be shown. Nothing here knows the page.
const LONG_LINE = 256 * 1024;  // characters after which a line is cut, so that no line fills the memory

/** Makes visible what would otherwise act, hide or change the direction of writing. */
const visible = (text) => text.replace(/\r\n/g, '\n').replace(/\0{9,}/g, (zeros) => `<${zeros.length} zero bytes>`)
  .replace(/[\0-\x08\x0b-\x1f]/g, '·')
  .replace(/[\x7f-\x9f\p{Cf}\p{Zl}\p{Zp}\p{DI}]/gu, (c) => `<${c.codePointAt(0).toString(16)}>`);
const shownName = (name, most = 1000) => visible(name.length > most ? `${name.slice(0, most)}…` : name)
  .replace(/\n/g, '␊').replace(/\t/g, '␉') || '(no name)';
const quoted = (name) => `“${shownName(name.replace(/["“”„‟]/g, '\''), 32)}”`;
const fileOf = (name) => name.slice(name.lastIndexOf('/') + 1);
const named = (entries, most = 10) => entries.slice(0, most).map(({name}) => quoted(fileOf(name))).join(', ') +
  (entries.length > most ? ` and ${entries.length - most} more` : '');
const counted = (count, noun) =>
  `${count.toLocaleString('en')} ${noun}${count === 1 ? '' : /s[sh]?$/.test(noun) ? 'es' : 's'}`;
const times = (count) => count === 1 ? 'once' : counted(count, 'time');
const sum = (list, key) => list.reduce((total, item) => total + item[key], 0);
const joined = (parts, between = ' ') => parts.filter((part) => part).join(between);
const listed = (map, key) => map.get(key) ?? map.set(key, []).get(key);
const escaped = (text) => text.replace(/[^\w\s]/g, '\\$&');  // for a pattern
/** Copies a text, so that it does not keep the block that it was taken from. */
const copied = (text) => JSON.parse(JSON.stringify(text));

let rested = 0;
/** Lets the page react when it had to wait for a while. Timers would be slowed down in a tab that is not seen. */
async function rest() {
  if (performance.now() - rested < 25) return;
  const {port1, port2} = new MessageChannel();
  await new Promise((resolve) => { port1.onmessage = resolve; port2.postMessage(0); });
  port1.close();
  rested = performance.now();
}

const MAGIC = {'SQLite format 3\0': 'SQLite database', 'MDMP': 'minidump, for a debugger', 'PK\x03\x04': 'zip archive',
  '\x1f‹': 'gzip file', 'bplist': 'binary property list', '\n\r\r\n': 'packet capture', 'ÔÃ²¡': 'packet capture'};
/** What the first bytes of a file tell: {encoding, kind}; the kind is empty for text. */
function kindOf(bytes) {
  const head = bytes.subarray(0, 4096), text = new TextDecoder('latin1').decode(head), most = head.length * 0.3;
  const known = Object.keys(MAGIC).find((magic) => text.startsWith(magic));
  if (known) return {encoding: 'utf-8', kind: MAGIC[known]};
  const zeros = [0, 1].map((odd) => head.filter((byte, i) => !byte && i % 2 === odd).length);
  if (text.startsWith('\xff\xfe') || zeros[1] > most && !zeros[0]) return {encoding: 'utf-16le', kind: ''};
  if (text.startsWith('\xfe\xff') || zeros[0] > most && !zeros[1]) return {encoding: 'utf-16be', kind: ''};
  // A log that was emptied while its program wrote on begins with zeros only.
  const isText = /^\0*$/.test(text) || text.replace(/[\0-\x08\x0e-\x1a\x1c-\x1f]/g, '').length >= head.length * 0.9;
  return {encoding: 'utf-8', kind: isText ? '' : 'binary file'};
}

function linesIn(text, from = 0, to = text.length) {
  let count = 0;
  for (let at = text.indexOf('\n', from); at >= 0 && at < to; at = text.indexOf('\n', at + 1)) ++count;
  return count;
}
/** Yields an entry as blocks of whole lines: {text, line, next, kind} with the numbers of this and the next block's
 * first line. A line that is too long is cut in blocks with the same number. */
async function* textOf(file, entry, most) {
  let known, decoder, tail = '', line = 1;
  const block = (text, first = line) => ({text, line: first, next: line += linesIn(text), kind: known.kind});
  try {
    for await (const piece of contentOf(file, entry, most)) {
      known ??= kindOf(piece);
      decoder ??= new TextDecoder(known.encoding);
      const text = tail + decoder.decode(piece, {stream: true});
      const end = text.lastIndexOf('\n') + 1 || (text.length > LONG_LINE ? text.length : 0);
      tail = text.slice(end);
      if (end) yield block(text.slice(0, end));
      await rest();
    }
  } finally { if (tail) yield block(tail); }
}
/** The last characters of these blocks, or the first ones from the block with a line on: {text, line, kind, fault}. */
async function readText(source, most, from = 0) {
  const blocks = [];
  let length = 0, fault = '';
  try {
    for await (const block of source) {
      if (block.next < from) continue;
      blocks.push(block);
      length += block.text.length;
      if (from && length > most) break;
      while (!from && length - blocks[0].text.length >= most) length -= blocks.shift().text.length;
    }
  } catch (error) { fault = sentence(error); }
  const {line = 1, kind = ''} = blocks[0] ?? {};
  return {text: blocks.map(({text}) => text).join(''), line, kind, fault};
}

/** Parses JSON; undefined when it is none, or so deep or large that it would freeze the page. */
function parseJson(text) {
  const mostDepth = 64;
  let depth = text.length > 2 * MIB ? Infinity : 0, isString = false;
  for (let i = 0; i < text.length && depth <= mostDepth; ++i) {
    if (text[i] === '"') isString = !isString;
    else if (isString) i += text[i] === '\\';  // passes over what is escaped
    else if ('[{'.includes(text[i])) ++depth;
    else if (']}'.includes(text[i])) --depth;
  }
  try { return depth > mostDepth ? undefined : JSON.parse(text); } catch { return undefined; }
}

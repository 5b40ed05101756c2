// Searching files for a word, in one file or in all.
const MOST_HITS = 500, SEARCH_BYTES = 4096 * MIB, SEARCH_MS = 150;  // shown; read at most; after the last key
const wordPattern = (word) => new RegExp(word.replace(/[^\w\s]/g, '\\$&'), 'gi');

/** Calls onHit(line number, line, time) for each line of an entry with the word. Of a file that is no text the number is
 * 0 and the line says what it is. Throws a Fault when not all of it could be read. */
async function searchFile(file, entry, word, clock, isCurrent, onHit) {
  const pattern = wordPattern(word);
  let before = '', last = 0;
  for await (const {text, line, kind} of textOf(file, entry)) {
    if (!isCurrent()) return;
    const block = before + text;
    let number = line, at = before.length;
    pattern.lastIndex = 0;
    for (let found; (found = pattern.exec(block));) {
      const start = block.lastIndexOf('\n', found.index - 1) + 1, newline = block.indexOf('\n', found.index);
      const end = newline < 0 ? block.length : newline;
      [number, at] = [number + linesIn(block, at, start), Math.max(at, start)];
      pattern.lastIndex = end;
      if (number === last) continue;  // a long line goes on in this block
      last = number;
      if (kind) onHit(0, `(in a ${kind})`, undefined);
      else onHit(number, block.slice(start, Math.min(end, Math.max(start, found.index - 500) + LINE_CHARS)), timeAt(block, start, clock));
    }
    // A word may begin in this block and end in the next, when a line is cut there.
    before = text.endsWith('\n') || word.length < 2 ? '' : text.slice(1 - word.length);
  }
}

/** What a search has found: the hits that are shown, and the number of all for each file. */
function newHits() {
  return {timed: [], untimed: [], files: new Map(), count: 0, unread: []};
}
function addHit(hits, hit) {
  ++hits.count;
  hits.files.set(hit.entry, (hits.files.get(hit.entry) ?? 0) + 1);
  if (hit.time === undefined) hits.untimed.length < MOST_HITS && hits.untimed.push({...hit, text: copied(hit.text)});
  else if (hits.timed.push({...hit, text: copied(hit.text)}) > 4 * MOST_HITS) cutHits(hits);
}
/** Keeps the latest. */
function cutHits(hits) {
  hits.timed.sort((a, b) => a.time - b.time);
  hits.timed.splice(0, hits.timed.length - MOST_HITS);
}
/** Searches all files, and their names; `told` is called now and then with what was found and the files searched. */
async function searchAll({file, entries, clock}, word, isCurrent, told) {
  const hits = newHits(), logs = new Set(logsOf(entries)), pattern = wordPattern(word);
  let left = SEARCH_BYTES;
  const order = [...logs, ...entries.filter((entry) => !logs.has(entry))];
  for (const [i, entry] of order.entries()) {
    if (pattern.test(entry.name)) addHit(hits, {entry, line: 0, text: '(in its name)'});
    pattern.lastIndex = 0;
    if (left <= 0 && entry.size) { hits.unread.push(entry); continue; }
    left -= entry.size;
    try {
      if (entry.size) await searchFile(file, entry, word, clock, isCurrent, (line, text, time) => addHit(hits, {entry, line, text, time}));
    } catch {
      hits.unread.push(entry);
    }
    if (!isCurrent()) return undefined;
    told(hits, i + 1);
    await rest();
  }
  cutHits(hits);
  return hits;
}
const shownHits = ({timed, untimed}) => [...timed, ...untimed].slice(0, MOST_HITS);

// ---- On the page.
function hitRow(archive, {entry, line, text, time}, word) {
  return make('li.hit', place(archive, {entry, line}), time === undefined ? '' : make('time', ` ${stampText(time)}`), ' ',
    make('code', marked(visible(text), word)));
}
/** A text, with each occurrence of the word marked. */
function marked(text, word) {
  const parts = text.split(new RegExp(`(${wordPattern(word).source})`, 'gi'));
  return parts.map((part, i) => i % 2 ? make('mark', part) : part);
}
function showHits(archive, hits, word) {
  const shown = shownHits(hits), files = [...hits.files].sort(([, a], [, b]) => b - a);
  const status = `${counted(hits.count, 'line')} with ${quoted(word)} in ${counted(files.length, 'file')}` +
    `${hits.count > shown.length ? `; the latest ${shown.length} are shown` : ''}.`;
  page('hits').replaceChildren(make('h2', 'Found'), make('p', {role: 'status'}, status), hits.unread.length ?
    make('p.warning', `Not searched to the end: ${hits.unread.slice(0, 10).map(({name}) => quoted(name)).join(', ')}` +
    `${hits.unread.length > 10 ? ` and ${hits.unread.length - 10} more` : ''}.`) : '',
  addRows(make('p.faint'), files, ([entry, count]) => make('span.count', place(archive, {entry, word}), ` ${count.toLocaleString('en')} `), 8),
  make('ol', shown.map((hit) => hitRow(archive, hit, word))));
}
let searches = 0;
async function search(archive, word) {
  const mine = ++searches, isCurrent = () => mine === searches, hits = page('hits');
  hits.hidden = !word;
  [hits.dataset.word, hits.dataset.state] = [word, word ? 'searching' : 'done'];
  const status = make('p', {role: 'status'}, 'Searching …');
  hits.replaceChildren(make('h2', 'Found'), status);
  if (!word) return;
  let shown = performance.now();
  const found = await searchAll(archive, word, isCurrent, ({count}, files) => {
    if (performance.now() - shown < 500) return;
    shown = performance.now();
    status.textContent = `Searching … ${counted(count, 'line')} in ${files} of ${counted(archive.entries.length, 'file')}`;
  });
  if (!isCurrent()) return;
  showHits(archive, found, word);
  hits.dataset.state = 'done';
}
/** Connects the field with the archive that is shown; a new archive ends a search in the last one. */
function startSearch(archive) {
  const field = page('search');
  let timer = 0;
  const now = () => { clearTimeout(timer); if (page('hits').dataset.word !== field.value.trim()) search(archive, field.value.trim()); };
  field.oninput = () => { clearTimeout(timer); timer = setTimeout(now, SEARCH_MS); };
  field.onkeydown = ({key}) => { if (key === 'Enter') now(); };
  page('hits').dataset.word = '';
  if (field.value.trim()) now();
}

// Searching files for a word, in one file or in all.
const MOST_HITS = 500, SEARCH_BYTES = 4096 * MIB, SEARCH_MS = 150;  // shown; read at most; after the last key
const wordPattern = (word) => new RegExp(`(${word.replace(/[^\w\s]/g, '\\$&')})`, 'gi');

/** Calls onHit(line number, line, time) for each line of an entry with the word. Of a file that is no text the number
 * is 0 and the line says what it is. Throws a Fault when not all of it could be read. */
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
      const end = newline < 0 ? block.length : newline, from = Math.max(start, found.index - LINE_CHARS / 2);
      [number, at] = [number + linesIn(block, at, start), Math.max(at, start)];
      pattern.lastIndex = end;
      if (number === last) continue;  // a long line that goes on in this block
      last = number;
      if (kind) onHit(0, `(in a ${kind})`, undefined);
      else onHit(number, block.slice(from, Math.min(end, from + LINE_CHARS)), timeAt(block, start, clock));
    }
    // A word may begin in this block and end in the next, when a line is cut there.
    before = text.endsWith('\n') || word.length < 2 ? '' : text.slice(1 - word.length);
  }
}
/** Adds a hit; of those with a time the latest are kept. */
function addHit(hits, hit) {
  const list = hit.time === undefined ? hits.untimed : hits.timed;
  ++hits.count;
  hits.files.set(hit.entry, (hits.files.get(hit.entry) ?? 0) + 1);
  if (list === hits.timed || list.length < MOST_HITS) list.push({...hit, text: copied(hit.text)});
  if (hits.timed.length > 4 * MOST_HITS) cutHits(hits);
}
function cutHits({timed}) {
  timed.sort((a, b) => a.time - b.time);
  timed.splice(0, timed.length - MOST_HITS);
}
/** Searches all files, and their names; `told` is called after each file. Undefined when it is not current any more. */
async function searchAll({file, entries, clock}, word, isCurrent, told) {
  const hits = {timed: [], untimed: [], files: new Map(), count: 0, unread: []}, logs = new Set(logsOf(entries));
  let left = SEARCH_BYTES, number = 0;
  for (const entry of [...logs, ...entries.filter((other) => !logs.has(other))]) {
    const add = (line, text, time) => addHit(hits, {entry, line, text, time});
    if (wordPattern(word).test(entry.name)) add(0, '(in its name)');
    left -= entry.size;
    try {
      if (left < 0) hits.unread.push(entry);
      else if (entry.size) await searchFile(file, entry, word, clock, isCurrent, add);
    } catch { hits.unread.push(entry); }
    if (!isCurrent()) return undefined;
    told(hits, ++number);
    await rest();
  }
  cutHits(hits);
  return hits;
}

// ---- On the page.
/** A text, with each occurrence of the word marked. */
const marked = (text, word) => text.split(wordPattern(word)).map((part, i) => i % 2 ? make('mark', part) : part);
function showHits(archive, hits, word) {
  const shown = [...hits.timed, ...hits.untimed].slice(0, MOST_HITS),
    files = [...hits.files].sort(([, a], [, b]) => b - a);
  const cut = hits.count > shown.length ? `; ${shown.length} are shown, the latest of those with a time` : '';
  const told = `${counted(hits.count, 'line')} with ${quoted(word)} in ${counted(files.length, 'file')}${cut}.`;
  page('hits').replaceChildren(make('h2', 'Found'), make('p', told),
    hits.unread.length ? make('p.warning', `Not searched to the end: ${named(hits.unread)}.`) : '',
    addRows(make('p.faint'), files, ([entry, count]) =>
      make('span.count', place(archive, {entry, word}), ` ${count.toLocaleString('en')} `), 8),
    make('ol', shown.map(({entry, line, text, time}) => make('li.hit', place(archive, {entry, line}),
      time === undefined ? '' : make('time', ` ${stampText(time)}`), ' ', make('code', marked(visible(text), word))))));
}
let searches = 0;
async function search(archive, word) {
  const mine = ++searches, isCurrent = () => mine === searches, hits = page('hits'), status = make('p', 'Searching …');
  hits.hidden = !word;
  [hits.dataset.word, hits.dataset.state] = [word, word ? 'searching' : 'done'];
  hits.replaceChildren(make('h2', 'Found'), status);
  if (!word) return;
  const all = counted(archive.entries.length, 'file');
  const found = await searchAll(archive, word, isCurrent, (hit, files) => {
    status.textContent = `Searching … ${counted(hit.count, 'line')} in ${files} of ${all}`;
  });
  if (!isCurrent()) return;
  showHits(archive, found, word);
  page('reading').textContent = `${counted(found.count, 'line')} found`;  // where it is announced
  hits.dataset.state = 'done';
}
/** Connects the field with the archive that is shown; a new archive ends a search in the last one. */
function startSearch(archive) {
  const field = page('search'), {dataset} = page('hits'), word = () => field.value.trim();
  let timer = 0;
  const now = () => { clearTimeout(timer); if (dataset.word !== word()) search(archive, word()); };
  field.oninput = () => { clearTimeout(timer); timer = setTimeout(now, SEARCH_MS); };
  field.onkeydown = ({key}) => { if (key === 'Enter') now(); };
  dataset.word = '';
  if (word()) now();
}

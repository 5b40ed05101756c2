// Searching files for a word, in one file or in all.
const MOST_HITS = 500, SEARCH_BYTES = 4096 * MIB, SEARCH_MS = 150;  // shown; read at most; after the last key
const wordPattern = (word) => new RegExp(`(${word.replace(/[^\w\s]/g, '\\$&')})`, 'gi');

/** Calls onHit(line number, line, time) for each line of these blocks with the word. Of a file that is no text the
 * number is 0 and the line says what it is. Throws a Fault when not all of it could be read. */
async function searchIn(blocks, word, clock, isCurrent, onHit) {
  const pattern = wordPattern(word);
  let before = '', last = 0;
  for await (const {text, line, kind} of blocks) {
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
      if (kind) onHit(0, `(in a ${kind})`);
      else onHit(number, block.slice(from, Math.min(end, from + LINE_CHARS)), timeAt(block, start, clock));
    }
    // A word may begin in this block and end in the next, when a line is cut there.
    before = text.endsWith('\n') || word.length < 2 ? '' : text.slice(1 - word.length);
  }
}
const marked = (text, word) => text.split(wordPattern(word)).map((part, i) => i % 2 ? make('mark', part) : part);
const latest = (hits) => hits.sort((a, b) => (a.time ?? 0) - (b.time ?? 0)).slice(-MOST_HITS);
let searches = 0;
/** Searches all files, and their names, and shows what it finds. */
async function search(word) {
  const mine = ++searches, isCurrent = () => mine === searches, box = page('hits'), status = make('p');
  const {file, entries, clock} = archive, logs = new Set(logsOf(entries)), files = new Map(), unread = [];
  let hits = [], count = 0, left = SEARCH_BYTES, number = 0;
  Object.assign(box.dataset, {word, state: word ? 'searching' : 'done'});
  box.hidden = !word;
  box.replaceChildren(make('h2', 'Found'), status);
  for (const entry of word ? [...logs, ...entries.filter((other) => !logs.has(other))] : []) {
    const add = (line, text, time) => {
      ++count;
      files.set(entry, (files.get(entry) ?? 0) + 1);
      if (hits.push({entry, line, time, text: copied(text)}) > 4 * MOST_HITS) hits = latest(hits);
    };
    if (wordPattern(word).test(entry.name)) add(0, '(in its name)');
    left -= entry.size;
    try {
      if (left < 0) unread.push(entry);
      else if (entry.size) await searchIn(textOf(file, entry), word, clock, isCurrent, add);
    } catch { unread.push(entry); }
    status.textContent = `Searching … ${counted(count, 'line')} in ${++number} of ${counted(entries.length, 'file')}`;
    await rest();
    if (!isCurrent()) return;
  }
  const most = [...files].sort(([, a], [, b]) => b - a), untimed = ({time}) => time === undefined;
  hits = latest(hits);
  page('reading').textContent = word && `${counted(count, 'line')} found`;  // where it is announced
  status.textContent = `${counted(count, 'line')} with ${quoted(word)} in ${counted(files.size, 'file')}` +
    (count > hits.length ? `; ${hits.length} are shown, the latest of those with a time.` : '.');
  if (unread.length) box.append(make('p.warning', `Not searched to the end: ${named(unread)}.`));
  box.append(...addRows(make('p.faint'), most, ([entry, n]) =>
    make('span.count', place({entry, word}), ` ${n.toLocaleString('en')} `), 8),
  make('ol', [...hits.filter((hit) => !untimed(hit)), ...hits.filter(untimed)].map((hit) => make('li.hit', place(hit),
    untimed(hit) ? '' : make('time', ` ${stampText(hit.time)}`), ' ', make('code', marked(visible(hit.text), word))))));
  box.dataset.state = 'done';
}
function startSearch() {
  const field = page('search'), {dataset} = page('hits');
  let timer = 0;
  const now = () => { clearTimeout(timer); if (dataset.word !== field.value.trim()) search(field.value.trim()); };
  field.oninput = () => { clearTimeout(timer); timer = setTimeout(now, SEARCH_MS); };
  field.onkeydown = ({key}) => { if (key === 'Enter') now(); };
  search(field.value.trim());  // which also ends a search in the last archive
}

// Searching files for a word, in one file or in all.
const MOST_HITS = 500, TYPING_MS = 150;  // shown at most; waited for after the last key
const wordPattern = (word) => new RegExp(`(${escaped(word)})`, 'gi');

/** Calls onHit(line number, line, stamp) for each line of these blocks with the word. Of a file that is no text the
 * number is 0 and the line says what it is. Throws a Fault when not all of it could be read. */
async function searchIn(blocks, word, clock, isCurrent, onHit) {
  const pattern = wordPattern(word);
  let before = '';
  for await (const {text, line, kind} of blocks) {
    if (!isCurrent()) return;
    const block = before + text;
    let number = line, at = before.length;
    pattern.lastIndex = 0;
    for (let found; (found = pattern.exec(block));) {
      const start = block.lastIndexOf('\n', found.index - 1) + 1, newline = block.indexOf('\n', found.index);
      const end = newline < 0 ? block.length : newline, from = Math.max(start, found.index - LINE_CHARS / 2);
      number += linesIn(block, at, start);
      at = Math.max(at, start);
      pattern.lastIndex = end;
      if (kind) onHit(0, `(in a ${kind})`);
      else onHit(number, block.slice(from, Math.min(end, from + LINE_CHARS)), stampOf(block.slice(start, end), clock));
    }
    // A word may begin in this block and end in the next, when a line is cut there.
    before = text.endsWith('\n') || word.length < 2 ? '' : text.slice(1 - word.length);
  }
}
/** The latest hits in the order of time, before them those without. */
const latest = (hits) => hits.sort((a, b) => (a.time ?? 0) - (b.time ?? 0)).slice(-MOST_HITS);
function hitRow(hit, word) {
  const text = visible(hit.text).split(wordPattern(word)).map((part, i) => i % 2 ? make('mark', part) : part);
  return make('li.hit', place(hit), hit.time ? make('time', ` ${stampText(hit.time)}`) : '', ' ', make('code', text));
}
/** Searches files, and their names, and shows what it finds in a box, until that is asked for something else. */
async function search(word, files, box) {
  const {file, clock} = archive, {dataset} = box, status = make('p', {role: 'status'}, 'Searching …'), unread = [];
  const isCurrent = () => status.isConnected;
  let hits = [], count = 0;
  Object.assign(dataset, {word, state: word ? 'searching' : 'done'});
  box.hidden = !word;
  box.replaceChildren(make('h2', 'Found'), status);
  for (const entry of word ? files : []) {
    const add = (line, text, stamp) => {
      ++count;
      hits.push({entry, line, time: stamp?.time, text: copied(text)});
      if (hits.length > 4 * MOST_HITS) hits = latest(hits);
    };
    if (wordPattern(word).test(entry.name)) add(0, '(in its name)');
    await attempt(() => searchIn(textOf(file, entry), word, clock, isCurrent, add), () => unread.push(entry));
    await rest();
    if (!isCurrent()) return;
  }
  hits = latest(hits);
  const where = unread.length ? `Not searched to the end: ${named(unread)}. In the rest ` : '';
  status.textContent = `${where}${counted(count, 'line')} with ${quoted(word)}` +
    (count > hits.length ? `; ${hits.length} are shown, the latest of those with a time.` : '.');
  box.append(make('ol', hits.map((hit) => hitRow(hit, word))));
  dataset.state = 'done';
}
/** Searches these files for the word that is in a field, now and whenever another is typed. */
function onTyped(field, files, box) {
  let timer = 0;
  const start = (wait) => {
    clearTimeout(timer);
    timer = setTimeout(() => search(field.value.trim(), files, box), wait);
  };
  field.oninput = () => start(TYPING_MS);
  field.onkeydown = ({key}) => { if (key === 'Enter') start(0); };
  start(0);
}

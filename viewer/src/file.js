// One file: its lines around a place, its end or its beginning, and those with a word.
const VIEW_LINES = 1000, VIEW_CHARS = 4 * MIB, SHOWN_CHARS = 4000;  // shown at once, and of one line

/** The lines from this number on, or the last ones when it is 0: {lines: [[number, text]], isWhole, kind, fault}, where
 * isWhole tells that nothing comes after them. */
async function readLines(file, entry, from, count) {
  const kept = [];
  let length = 0, fault = '', isWhole = true;
  try {
    for await (const block of textOf(file, entry)) {
      if (block.kind) return {lines: [], kind: block.kind, isWhole: true};
      if (from && (block.line >= from + count || length > VIEW_CHARS)) { isWhole = false; break; }
      if (from && block.next < from) continue;
      kept.push(block);
      length += block.text.length;
      while (!from && kept.length > 1 && (block.next - kept[1].line > count ||
        length - kept[0].text.length > VIEW_CHARS))
        length -= kept.shift().text.length;
    }
  } catch (error) { fault = sentence(error); }
  const first = kept[0]?.line ?? 1, all = kept.map(({text}) => text).join('').replace(/\n$/, '').split('\n');
  const lines = all.map((text, i) => [first + i, text]).filter(([n]) => !from || n >= from && n < from + count);
  isWhole &&= !from || first + all.length <= from + count;
  return {lines: kept.length ? lines.slice(-count) : [], isWhole, fault};
}
/** The same of a text that was laid out here. */
function linesOfText(text) {
  const all = text.split('\n').map((line, i) => [i + 1, line]);
  return (from, count) => {
    const at = from ? from - 1 : Math.max(0, all.length - count);
    return {lines: all.slice(at, at + count), isWhole: all.length <= at + count, fault: ''};
  };
}
function lineRow([number, text], word, click) {
  const level = ['', '.warning', '.error'][levelOf(text.slice(0, LINE_CHARS)).level], more = text.length - SHOWN_CHARS;
  const shown = visible(more > 0 ? `${text.slice(0, SHOWN_CHARS)} … ${more} more characters` : text);
  return make(`div.line${level}`, {'data-line': `${number}`}, click ? button(`${number}`, () => click(number),
    {class: 'number'}) : make('span.number', `${number}`), make('span', word ? marked(shown, word) : shown));
}
/** Opens a file at a line, with a filter, or where it is best begun: a log at its end, others at the beginning. */
async function view(archive, entry, {line = 0, word = ''} = {}) {
  const {file, clock} = archive, dialog = page('viewer'), pre = make('pre', {tabindex: 0});
  const status = make('p.faint', {role: 'status'}), filter = make('input', {type: 'search', value: word});
  let turn = 0, timer = 0, first = 1, last = 0, source = (from, count) => readLines(file, entry, from, count);
  const begin = (text) => {
    const mine = ++turn;
    status.textContent = text;
    return () => mine === turn && dialog.open;
  };
  const end = (rows, text, isFirst, isLast) => {
    pre.replaceChildren(...rows);
    [status.textContent, earlier.hidden, later.hidden] = [text, isFirst, isLast];
  };
  /** Shows lines; `at` is the one to look at, 0 for the last. */
  async function show(from, count, at, isMarked = false) {
    const isCurrent = begin('Reading …'), {lines, isWhole, kind, fault} = await source(from, count);
    if (!isCurrent()) return;
    [first, last] = [lines[0]?.[0] ?? 1, lines.at(-1)?.[0] ?? 0];
    const numbers = `Lines ${first.toLocaleString('en')} to ${last.toLocaleString('en')}${isWhole ? ', the last' : ''}`;
    const size = bytesText(entry.size), told = kind ? `${kind}, ${size}: save it and open it with a program for that.` :
      last ? `${numbers}, of ${size}.` : 'It is empty.';
    end(lines.map((text) => lineRow(text)), joined([told, fault]), first <= 1, isWhole);
    const row = at ? pre.querySelector(`[data-line="${at}"]`) : pre.lastElementChild;
    row?.classList.toggle('here', isMarked);
    row?.scrollIntoView({block: at ? 'center' : 'end'});
  }
  const around = (at) => { filter.value = ''; show(Math.max(1, at - VIEW_LINES / 2), VIEW_LINES, at, true); };
  /** Shows the lines with the word of the filter, of the whole file. */
  async function find() {
    const wanted = filter.value.trim(), rows = [], isCurrent = begin(`Searching for ${quoted(wanted)} …`);
    if (!wanted) return show(first, VIEW_LINES, first);
    let count = 0, fault = '';
    try {
      await searchFile(file, entry, wanted, clock, isCurrent, (number, text) => {
        if (++count <= VIEW_LINES) rows.push(lineRow([number, copied(text)], wanted, around));
      });
    } catch (error) { fault = sentence(error); }
    if (!isCurrent()) return undefined;
    const cut = count > rows.length ? `; the first ${rows.length} are shown` : '';
    return end(rows, fault ? `${fault} ${count ? counted(count, 'such line') : 'No such line'} before that.` :
      `${counted(count, 'such line')} in the whole file${cut}.`, true, true);
  }
  const earlier = button('Earlier', () => {
    const from = Math.max(1, first - VIEW_LINES);
    show(from, last - from + 1, first);
  });
  const later = button('Later', () => show(first, last - first + 1 + VIEW_LINES, last));
  filter.oninput = () => { clearTimeout(timer); timer = setTimeout(find, SEARCH_MS); };
  dialog.replaceChildren(make('h3', shownName(entry.name)),
    make('p', make('label', 'Lines with ', filter), earlier, later,
    button('Beginning', () => show(1, VIEW_LINES, 1)), button('End', () => show(0, VIEW_LINES, 0)),
    saver(archive, entry), button('Close', () => dialog.close())), status, pre);
  if (!dialog.open) dialog.showModal();
  end([], '', true, true);
  if (word) return find();
  if (line) return around(line);
  if (/\.(?:json|ips)$/i.test(entry.name) && entry.size < JSON_CHARS) {
    const text = layOut(entry.name, (await readText(file, entry, JSON_CHARS)).text);
    if (text) source = linesOfText(text);
    return show(1, VIEW_LINES, 1);
  }
  return isLog(entry) ? show(0, VIEW_LINES, 0) : show(1, VIEW_LINES, 1);
}
/** A button that saves an entry, and then says what became of it. */
function saver({file}, entry) {
  const save = async ({target}) => {
    const {blob, fault} = await unpack(file, entry), href = URL.createObjectURL(blob);
    if (blob.size || !fault) make('a', {href, download: shownName(entry.name.split(/[/\\]/).pop())}).click();
    setTimeout(() => URL.revokeObjectURL(href), HOUR);
    target.removeAttribute('aria-label');
    target.textContent = `${fault} Saved: ${bytesText(blob.size)}.`;
  };
  return make('span.save', button('save', save, {'aria-label': `save ${shownName(entry.name, 200)}`}));
}

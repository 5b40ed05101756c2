// One file: its lines around a place, its end or its beginning, and those with a word.
const VIEW_LINES = 1000, VIEW_CHARS = 4 * MIB, SHOWN_CHARS = 4000;  // shown at once, and of one line

/** The lines from this number on, or the last ones when it is 0: {lines: [[number, text]], isWhole, kind, fault}; isWhole
 * tells that nothing comes after them. */
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
      while (!from && kept.length > 1 && (block.next - kept[1].line > count || length > VIEW_CHARS + kept[0].text.length))
        length -= kept.shift().text.length;
    }
  } catch (error) {
    fault = sentence(error);
  }
  const first = kept[0]?.line ?? 1, all = kept.map(({text}) => text).join('').replace(/\n$/, '').split('\n');
  const lines = all.map((text, i) => [first + i, text]).filter(([number]) => !from || number >= from && number < from + count);
  return {lines: from ? lines : lines.slice(-count), isWhole: isWhole && (!from || first + all.length <= from + count), fault};
}
/** The same of a text that was laid out here. */
function linesOfText(text) {
  const all = text.split('\n').map((line, i) => [i + 1, line]);
  return (from, count) => ({lines: all.slice((from || 1) - 1, (from || 1) - 1 + count), isWhole: all.length < (from || 1) + count, fault: ''});
}
function lineRow([number, text], marks, click) {
  const level = ['', '.warning', '.error'][levelOf(text.slice(0, LINE_CHARS)).level];
  const shown = visible(text.length > SHOWN_CHARS ? `${text.slice(0, SHOWN_CHARS)} … ${text.length - SHOWN_CHARS} more characters` : text);
  const name = click ? button(`${number}`, () => click(number), {class: 'number'}) : make('span.number', `${number}`);
  return make(`div.line${level}`, {'data-line': `${number}`}, name, make('span', marks ? marked(shown, marks) : shown));
}

/** Opens a file at a line, with a filter, or where it is best begun: a log at its end, others at the beginning. */
async function view(archive, entry, {line = 0, word = ''} = {}) {
  const {file, clock} = archive, dialog = page('viewer'), status = make('p.faint', {role: 'status'}), pre = make('pre', {tabindex: 0});
  const filter = make('input', {type: 'search', value: word});
  let turn = 0, first = 1, last = 0, source = (from, count) => readLines(file, entry, from, count);
  const isLast = () => { const mine = ++turn; return () => mine === turn && dialog.open; };
  /** Shows lines; `at` is the one to look at, 0 for the last. */
  async function show(from, count, at) {
    const isCurrent = isLast();
    status.textContent = 'Reading …';
    const {lines, isWhole, kind, fault} = await source(from, count);
    if (!isCurrent()) return;
    pre.replaceChildren(...lines.map((text) => lineRow(text)));
    [first, last] = [lines[0]?.[0] ?? 1, lines.at(-1)?.[0] ?? 0];
    [earlier.hidden, later.hidden] = [first <= 1, isWhole];
    status.textContent = [kind ? `${kind}, ${bytesText(entry.size)}: save it and open it with a program for that.` :
      lines.length ? `Lines ${first.toLocaleString('en')} to ${last.toLocaleString('en')}${isWhole ? ', the last' : ''} of ` +
      `${bytesText(entry.size)}.` : 'It is empty.', fault].join(' ');
    const row = at ? pre.querySelector(`[data-line="${at}"]`) : pre.lastElementChild;
    if (at && line) row?.classList.add('here');
    row?.scrollIntoView({block: at ? 'center' : 'end'});
  }
  const around = (number) => { line = number; filter.value = ''; show(Math.max(1, number - VIEW_LINES / 2), VIEW_LINES, number); };
  /** Shows the lines with the word of the filter, of the whole file. */
  async function find() {
    const isCurrent = isLast(), wanted = filter.value.trim(), rows = [];
    if (!wanted) return around(line || 1);
    let count = 0, fault = '';
    status.textContent = `Searching for ${quoted(wanted)} …`;
    try {
      await searchFile(file, entry, wanted, clock, isCurrent, (number, text) => {
        if (++count <= VIEW_LINES) rows.push(lineRow([number, copied(text)], wanted, around));
      });
    } catch (error) {
      fault = sentence(error);
    }
    if (!isCurrent()) return;
    pre.replaceChildren(...rows);
    [earlier.hidden, later.hidden] = [true, true];
    status.textContent = fault ? `${fault} ${count ? `${counted(count, 'such line')} before.` : 'No such line before.'}` :
      `${counted(count, 'such line')} in the whole file${count > rows.length ? `; the first ${rows.length} are shown` : ''}.`;
  }
  const earlier = button('Earlier', () => { line = 0; show(Math.max(1, first - VIEW_LINES), last - Math.max(1, first - VIEW_LINES) + 1, first); });
  const later = button('Later', () => { line = 0; show(first, last - first + 1 + VIEW_LINES, last); });
  let timer = 0;
  filter.oninput = () => { clearTimeout(timer); timer = setTimeout(find, SEARCH_MS); };
  dialog.replaceChildren(make('div.head', make('h3', shownName(entry.name)), make('p', make('label', 'Lines with ', filter), earlier, later,
    button('Beginning', () => { line = 0; show(1, VIEW_LINES, 1); }), button('End', () => { line = 0; show(0, VIEW_LINES, 0); }),
    saver(archive, entry), button('Close', () => dialog.close())), status), pre);
  [earlier.hidden, later.hidden] = [true, true];
  if (!dialog.open) dialog.showModal();
  if (word) return find();
  if (line) return around(line);
  if (/\.(?:json|ips)$/i.test(entry.name) && entry.size < JSON_CHARS) {
    const text = layOut(entry.name, (await readText(file, entry, JSON_CHARS)).text);
    if (text) source = linesOfText(text);
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

// One file: its lines around a place, its end or its beginning, and those with a word.
const VIEW_LINES = 1000, VIEW_CHARS = 4 * MIB, SHOWN_CHARS = 50000;  // shown at once, and of one line

function lineRow(number, text) {
  const level = ['', '.warning', '.error'][levelOf(text).level], more = text.length - SHOWN_CHARS;
  const shown = more > 0 ? `${text.slice(0, SHOWN_CHARS)} … ${more} more characters` : text;
  return make(`div.line${level}`, make('span.number', `${number}`), make('span', visible(shown)));
}
/** Opens a file at a line, or without one where it is best begun: a log at its end, others at the beginning. */
function view(entry, line) {
  const dialog = page('viewer'), pre = make('pre', {tabIndex: 0}), hits = make('div.hits', {hidden: true});
  const status = make('p.faint', {role: 'status'}), filter = make('input', {type: 'search'});
  let first = 1, last = 0;
  /** Shows lines from this number on, the last ones for 0; marks line `at`. */
  async function show(from, at) {
    status.textContent = 'Reading …';
    const {text, line: number, kind, fault} = await readText(textOf(archive.file, entry), VIEW_CHARS, from);
    const all = kind || !text ? [] : text.replace(/\n$/, '').split('\n').slice(Math.max(0, from - number));
    const lines = from ? all.slice(0, VIEW_LINES) : all.slice(-VIEW_LINES), size = bytesText(entry.size);
    const isLast = !from || lines.length < VIEW_LINES && text.length <= VIEW_CHARS;
    first = from ? Math.max(from, number) : number + all.length - lines.length;
    last = first + lines.length - 1;
    const rows = lines.map((shown, i) => lineRow(first + i, shown)), row = rows[(at || from || last) - first];
    const told = kind ? `${kind}, ${size}: save it and open it with a program for that.` :
      rows.length ? `Lines ${first} to ${last}${isLast ? ', the last' : ''}, of ${size}.` : 'No line is here.';
    pre.replaceChildren(...rows);
    status.textContent = joined([told, fault]);
    earlier.hidden = first <= 1;
    later.hidden = isLast;
    row?.classList.toggle('here', !!at);
    row?.scrollIntoView({block: 'center'});
  }
  const earlier = button('Earlier', () => show(Math.max(1, first - VIEW_LINES + 1), first));
  const later = button('Later', () => show(Math.max(last, first + 1), last));
  onTyped(filter, [entry], hits);
  dialog.replaceChildren(make('h3', shownName(entry.name)), make('p', make('label', 'Lines with ', filter), earlier,
    later, button('Beginning', () => show(1)), button('End', () => show(0)), saver(entry),
    button('Close', () => dialog.close())), hits, status, pre);
  if (!dialog.open) dialog.showModal();
  if (line) show(Math.max(1, line - VIEW_LINES / 2), line);
  else show(isLog(entry) ? 0 : 1);
}
async function save(entry, parent) {
  const parts = [];
  await attempt(async () => {  // as blobs, which the browser may move to the disk
    for await (const piece of contentOf(archive.file, entry)) parts.push(new Blob([piece]));
  }, (fault) => parent.append(` ${fault}`));
  const blob = new Blob(parts, {type: 'application/octet-stream'}), name = entry.name.split(/[/\\]/).pop();
  make('a', {href: URL.createObjectURL(blob), download: shownName(name)}).click();
  parent.append(` Saved: ${bytesText(blob.size)}.`);
}
const saver = (entry) => make('span.save',
  button('save', ({target}) => save(entry, target.parentElement), {ariaLabel: `save ${shownName(entry.name, 200)}`}));

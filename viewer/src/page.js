// The page: its elements, its parts, and opening an archive. Content of an archive is always inserted as text.
const MOST_ROWS = 500, MOST_EVIDENCE = 6, MOST_FILES = 20;  // rows, lines of a finding, files of a folder at first
const page = (id) => document.getElementById(id), TABLES = JSON.parse(page('tables').textContent);
let archive;  // the one that is shown

/** Makes an element from its tag and classes, `p.faint`; the other arguments are properties and children. */
function make(name, ...rest) {
  const [tag, ...classes] = name.split('.'), element = document.createElement(tag), parts = rest.flat(Infinity);
  const isChild = (part) => typeof part === 'string' || part instanceof Node;
  Object.assign(element, {className: classes.join(' ')}, ...parts.filter((part) => !isChild(part)));
  element.append(...parts.filter(isChild));
  return element;
}
const button = (text, onclick, more) => make('button', {type: 'button', onclick}, more, text);
/** Fills a parent with a row for each item, `most` of them at first; returns it and a button for more. */
function addRows(parent, items, toRow, most = MOST_ROWS) {
  let shown = 0;
  const more = button('', () => add(MOST_ROWS)), add = (count) => {
    parent.append(...items.slice(shown, shown += count).map(toRow));
    more.textContent = `${items.length - shown} more …`;
    more.hidden = shown >= items.length;
  };
  add(most);
  return [parent, more];
}
const tableRow = ([first, ...cells]) => make('tr', make('th', {scope: 'row'}, first),
  cells.map((cell) => make('td', cell)));
function table(head, items, toRow, style = '', most = MOST_ROWS) {
  const titles = head.map((title) => make('th', {scope: 'col'}, title));
  const [body, more] = addRows(make('tbody'), items, toRow, most);
  return make('div.wide', make(`table${style}`, make('thead', make('tr', titles)), body), more);
}
const fill = (id, title, ...children) => page(id).replaceChildren(make('h2', title), make('div', ...children));
/** Formats a text of the documents: what stands between backticks becomes code, or what `onCode` makes of it. */
const rich = (text, onCode = (code) => make('code', code)) =>
  text.split('`').map((part, i) => i % 2 ? onCode(part) : part);
const place = ({entry, line}, text = joined([shownName(entry.name), line], ':')) =>
  button(text, () => view(entry, line));
/** Does something, and tells why it failed, so that nothing else fails. */
async function attempt(task, failed) {
  try { await task(); } catch (error) { failed(sentence(error)); }
}

// ---- Findings.
const titleOf = ({title, isRich}) => isRich ? rich(title) : visible(title);
function showFinding(finding) {
  const {kind, lines, todo, isClosed} = finding, head = titleOf(finding);
  const list = addRows(make('ul'), lines, (line) => make('li', line.entry ? place(line) : '', ' ',
    make('span.note', line.note ?? ''), ' ', make('code', visible(line.text))), isClosed ? MOST_ROWS : MOST_EVIDENCE);
  finding.shown = make(`div.finding${kind && `.${kind}`}`, isClosed ? make('details', make('summary', head), list) :
    [make('h3', head), todo ? make('p', 'What to do: ', rich(todo)) : '', list]);
  return finding.shown;
}
/** Shows all findings by the logs as far as they are read, the worst first; last what the tool could not collect. */
async function showFindings() {
  const {entries, sections, modules, crashes, clock, run, log, state} = archive, found = [], told = [];
  const hasAgent = entries.some(({name}) => /^logs\/uem_[^/]+\/(?!DiagnosticReports\/|system_state)/.test(name));
  const dumps = entries.filter(({name}) => /\.dmp$/i.test(name)), {records} = run, {logs} = state;
  const sources = [() => crashFindings(crashes, dumps, clock), () => errorFindings(state),
    () => stateFindings(sections, modules, hasAgent), () => recordFindings(run, log, TABLES.troubleshooting, found)];
  for (const source of sources) {
    await attempt(() => found.push(...source()), (fault) =>
      found.push({kind: 'warning', title: `A part of the findings cannot be shown: ${fault}`, lines: [], about: []}));
  }
  const rank = ({kind, isClosed, isOfTool}) => isClosed ? 9 : {error: 0, warning: 1, '': 2}[kind] + (isOfTool ? 3 : 0);
  archive.findings = found.sort((a, b) => rank(a) - rank(b));
  if (logs.length && !found.some(({kind, isOfTool}) => kind && !isOfTool))
    told.push(`No new error in ${counted(logs.length, 'log')}, no crash of the client, no fault in its state.`);
  if (!records.length) told.push('No record tells what failed while collecting.');
  else if (!records.some(isTrouble)) told.push('Nothing failed while collecting.');
  const text = `The ${counted(records.length, 'record')} of the last run (runs in this log: ${run.runs})`;
  fill('findings', 'What to look at', found.map(showFinding),
    make('p', joined(told), ' ', log ? button(text, () => view(log, records[0]?.line)) : ''));
}

// ---- From the complaint to the file.
/** Code of the documents; a button if it names a file, folder or section of a report that is in the archive. */
function linkTo(code) {
  const {rows, sections, modules} = archive, shown = make('code', shownName(code));
  const section = [...sections, ...modules].find(({title}) => title === code);
  const [entry] = rows.find(({path}) => path === code)?.found ?? [];
  if (section) return place(section, shown);
  return entry ? button(shown, () => openPath(code, entry)) : shown;
}
const guideCode = (code) => usersIn(code, archive.users).map((user, i) =>
  [i ? ' or ' : '', linkTo(filled(code, user, archive.users))]);
/** The findings that bear on a complaint: its steps name where they come from; those about logs, a word of theirs. */
function bearing(steps, findings) {
  const codes = steps.map((step) => step.split('`').filter((_, i) => i % 2)), all = codes.flat();
  const words = codes.filter(([first]) => first?.endsWith('/')).flat().filter((code) => /^[\w -]{3,}$/.test(code));
  return findings.filter(({isClosed, about, words: said = []}) => !isClosed && (
    about.some((name) => all.includes(name)) ||
    said.some((text) => words.some((word) => text.includes(word.toLowerCase())))));
}
function showComplaints() {
  const wasOpen = [...page('complaints').querySelectorAll('details')].map(({open}) => open);
  fill('complaints', 'From the complaint to the file', TABLES.complaints.map(([title, steps], i) => {
    const found = bearing(steps, archive.findings).map((finding) =>
      make('li', button(titleOf(finding), () => finding.shown.scrollIntoView())));
    return make('details', {open: wasOpen[i]}, make('summary', `“${title}”`),
      found.length ? make('div', 'Found here:', make('ul', found)) : '',
      make('ol', steps.map((step) => make('li', rich(step, guideCode)))));
  }));
}

// ---- Before it is sent, and for a ticket.
function showSending() {
  const {entries, sections, crashes} = archive, owned = new Map(), [, {section, values}] = factsOf(sections);
  const files = (like) => entries.filter(({name}) => like.test(name)).map((entry) => ({entry}));
  for (const entry of entries.filter(ownerOf)) listed(owned, ownerOf(entry)).push({entry});
  const parts = [...[...owned].slice(0, 20).map(([name, list]) => [`data of ${quoted(name)}`, list]),
    ['packet captures', files(/\.p?cap(?:ng)?$/i)],
    ['crash reports of other makers’ programs', crashes.filter(({isClient}) => !isClient)],
    ['databases', files(/\.(?:db|sqlite3?|mmap3)$/i)],
    ['addresses of this machine', values.map((text) => ({...section, text: visible(text)}))],
  ].filter(([, list]) => list.length).map(([what, list]) => [`${what} (${list.length})`, list]);
  const link = (item) => make('span.count', place(item, item.text));
  page('sending').replaceChildren(make('details', make('summary', make('b', 'Before you send it: '),
    parts.map(([what]) => what).join(' · ') || 'nothing personal was recognised'),
  make('ul', parts.map(([what, list]) => make('li', `${what}: `, addRows(make('span'), list, link, 4))),
    make('li', 'Is your name in it, or that of your company? Ask the search.'))));
}
function copyForTicket({target}) {
  const value = ['title', 'summary', 'findings'].map((id) => page(id).innerText).join('\n');
  const area = make('textarea', {value});
  target.after(area);
  area.select();  // and copied by command, which every browser allows to a page from the disk
  page('reading').textContent = document.execCommand('copy') ? 'Copied' : 'This browser does not copy.';
  area.remove();
}

// ---- Contents.
const usersIn = (text, users) => text.includes('USER') ? users : users.slice(0, 1);
const filled = (text, user, [first]) => text.replaceAll('USER', () => user).replaceAll('FIRST', () => first);
/** The documents' rows for these users; an entry belongs to the row with the longest matching path. */
function layoutRows(entries, users) {
  const rows = TABLES.layout.flatMap((row) => usersIn(row.path, users).map((user) =>
    ({...row, user, path: filled(row.path, user, users), found: []})));
  const longestFirst = [...rows].sort((a, b) => b.path.length - a.path.length);
  for (const entry of entries) longestFirst.find(({path}) =>
    path.endsWith('/') ? entry.name.startsWith(path) : entry.name === path)?.found.push(entry);
  return rows;
}
function stateOf({path, found, why}) {
  if (found.length) return `${counted(found.length, 'file')}, ${bytesText(sum(found, 'size'))}`;
  return archive.run.records.some(({message}) => message.startsWith(path)) ? 'there' :
    make('span.faint', 'missing, for reasons such as: ', rich(why));
}
/** All files, in a list for each folder, the largest first. */
function showFiles(entries) {
  const folders = new Map();
  for (const entry of entries) listed(folders, entry.name.slice(0, entry.name.lastIndexOf('/') + 1)).push(entry);
  const sorted = [...folders].sort(([a], [b]) => a < b ? -1 : 1);
  const row = (name, size) => make('span.row', name, make('span.size', bytesText(size)));
  const file = (entry) => row([place({entry}, shownName(fileOf(entry.name))), saver(entry)], entry.size);
  return addRows(make('div', {id: 'tree'}), sorted, ([path, list]) => make('details', {path},
    make('summary', row(`${shownName(path || 'at the top')}, ${counted(list.length, 'file')}`, sum(list, 'size'))),
    addRows(make('div.tree'), list.sort((a, b) => b.size - a.size), file, MOST_FILES)));
}
function openPath(path, entry) {
  if (!path.endsWith('/')) return void view(entry);
  const folders = [...page('tree').children].filter((folder) => folder.path.startsWith(path));
  for (const folder of folders) folder.open = true;
  folders[0]?.scrollIntoView();
}
function showContents() {
  const {entries, users, rows} = archive;
  fill('contents', 'What is in it', table(['In the archive', 'From', 'There'], rows, (row) => tableRow([
    linkTo(row.path), rich(row.from, (code) => make('code', shownName(filled(code, row.user, users)))), stateOf(row)])),
  make('h3', `All ${counted(entries.length, 'file')}`), showFiles(entries));
}

// ---- The machine.
function showMachine() {
  const {sections, modules} = archive, value = (text) => make('div', visible(text.slice(0, 200)));
  const row = ({name, section, values}) => tableRow(!section ? [name, 'not in the archive'] :
    [place(section, name), values.length ? addRows(make('div'), values, value, 4) : make('b.warning', 'none')]);
  fill('machine', 'The machine', table(['What', 'Found'], factsOf(sections), row), make('h3', 'All sections'),
    [...sections, ...modules].map((section) => make('span.count', place(section, shownName(section.title)))));
}

// ---- Opening an archive.
/** Whose data a file is, if it is one person's. */
const ownerOf = ({name}) =>
  /^(?:logs\/(?:uem_)?|database\/|nsdbase\/)(?!uem_|OKVU\/|root\/|share_user\/)([^/]+)\//.exec(name)?.[1];
/** The users whose files are in the archive: first the one at the screen, if there was one; then root. */
function usersOf(entries, records) {
  const found = [...entries.map(ownerOf),
    ...records.map(({message}) => /\/Users\/(?!root\/)([^/]+)\/Library\//.exec(message)?.[1])];
  return [...new Set([found.find((user) => user) ?? 'root', 'root'])];
}
function summaryOf({file, entries, run: {records}, users, crashes, sections}) {
  const [first] = records, client = crashes.find((crash) => crash.isClient && crash.version);
  const people = users.map((user) => user === 'root' ? user : quoted(user)).join(' and ');
  const system = factsOf(sections)[0].values.join(' ') || 'unknown system';
  return joined([`Collected ${first?.stamp.slice(0, 19) ?? 'at an unknown time'} for ${people}`,
    client && `client ${shownName(client.version, 40)} (by a crash report)`, shownName(system, 60),
    `${bytesText(file.size)}, ${counted(entries.length, 'file')}, ${bytesText(sum(entries, 'size'))} unpacked`,
  ], ' · ');
}
/** When the archive was made: as its log says, or else its name, or else the date of the file. */
function endOf({name, lastModified}, [first]) {
  const inName = name.replace(/.*_(\d{8})(?=\d{6}\.zip$)/, '$1-');
  return first?.time || stampOf(inName, {end: 0})?.time || lastModified;
}
async function readArchive(file) {
  const {entries, notes} = await readDirectory(file), sections = [];
  const log = entries.findLast(({name}) => name === OWN_LOG);
  const read = async (entry, keep, most) => {
    const found = await readText(textOf(file, entry, most), keep);
    if (found.fault) notes.push([entry.name, found.fault]);
    return found;
  };
  const {text, line} = log ? await read(log, 24 * MIB, 192 * MIB) : {text: '', line: 1};
  const run = readRun(text, line), clock = {end: endOf(file, run.records)};
  if (!run.runs) notes.push(['', `It holds no ${OWN_LOG} in which a run begins.`]);
  const isReport = ({name}) => /^(system_info|logs\/uem_[^/]+\/system_state)\.log$/.test(name);
  for (const entry of entries.filter(isReport).slice(-2))
    sections.push(...sectionsOf((await read(entry, 8 * MIB, 8 * MIB)).text, entry));
  const users = usersOf(entries, run.records), rows = layoutRows(entries, users), modules = [], crashes = [];
  const failed = (fault) => notes.push(['', `A part of it cannot be read: ${fault}`]);
  await attempt(() => modules.push(...modulesOf(run, log, TABLES.modules)), failed);
  await attempt(async () => crashes.push(...await readCrashes(file, entries, clock, notes)), failed);
  return {file, entries, notes, log, run, clock, sections, users, rows, modules, crashes, state: newState(clock)};
}
async function showParts(parts) {
  for (const [id, show] of Object.entries(parts)) {
    await attempt(show, (fault) => page(id).replaceChildren(make('p.warning', `This part cannot be shown: ${fault}`)));
    await rest();
  }
}
const showAnswers = () => showParts({findings: showFindings, complaints: showComplaints, timeline: showTimeline});
let newest;  // the file that was opened last
/** Shows an archive, its logs' answers once they are read; stops when another is opened meanwhile. */
async function open(file) {
  const isCurrent = () => newest === file, say = (state, logs, summary, failure = '') => {
    if (!isCurrent()) return;
    Object.assign(document.body.dataset, {state, logs});
    page('summary').textContent = summary;
    page('failure').textContent = failure;
    page('reading').textContent = logs === 'reading' ? 'Reading the logs …' : '';
  };
  newest = file;
  say('reading', '', 'Reading …');
  page('title').textContent = shownName(file.name, 200);
  document.title = `${page('title').textContent} – log archive`;
  page('viewer').close();
  page('notes').replaceChildren();
  await attempt(async () => {
    const made = await readArchive(file), {entries, notes, state} = made;
    if (!isCurrent()) return;
    archive = made;
    await showParts({machine: showMachine, contents: showContents, sending: showSending});
    await showAnswers();
    if (!isCurrent()) return;
    page('notes').append(...notes.map(([of, text]) => make('li', of ? `${quoted(of)}: ${text}` : text)));
    say('shown', 'reading', summaryOf(made));
    onTyped(page('search'), entries, page('hits'));
    await readLogs(file, entries, state, isCurrent);
    if (!isCurrent()) return;
    await showAnswers();
    say('shown', 'read', summaryOf(made));
  }, (fault) => say('failed', '', '', `It cannot be shown. ${fault}`));
}
const openFirst = ([file]) => file && open(file);
document.querySelector('input[type=file]').onchange = ({target}) => openFirst(target.files);
document.ondragover = (event) => event.preventDefault();
document.ondrop = (event) => {
  event.preventDefault();
  openFirst(event.dataTransfer.files);
};
page('copy').onclick = copyForTicket;
if (globalThis.DecompressionStream) page('failure').textContent = '';

// The page: its elements, its parts, and opening an archive. Content of an archive is always inserted as text.
const MOST_ROWS = 500, MOST_EVIDENCE = 6, MOST_FILES = 20;  // rows, lines of a finding, files of a folder at first
const OWN_LOG_CHARS = 24 * MIB, OWN_LOG_BYTES = 192 * MIB, REPORT_CHARS = 8 * MIB;  // kept of it, and read at most
const MOST_PEOPLE = 20;  // told whose data it is
const page = (id) => document.getElementById(id), TABLES = JSON.parse(page('tables').textContent);
let archive;  // the one that is shown

/** Makes an element from its tag and classes, `p.faint`; the other arguments are properties and children. */
function make(name, ...rest) {
  const [tag, ...classes] = name.split('.'), element = document.createElement(tag);
  element.className = classes.join(' ');
  for (const part of rest.flat(Infinity)) {
    if (typeof part === 'string' || part instanceof Node) element.append(part);
    else Object.assign(element, part);
  }
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
const place = ({entry, line = 0}) =>
  button(`${shownName(entry.name)}${line ? `:${line}` : ''}`, () => view(entry, line));
const sectionButton = (section, text = shownName(section.title)) =>
  button(text, () => view(section.entry, section.line));
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
/** All findings by the logs as far as they are read, the worst first; last what the tool could not collect. */
async function findAll() {
  const {entries, sections, modules, crashes, clock, run, log, state} = archive, found = [];
  const hasAgent = entries.some(({name}) => /^logs\/uem_[^/]+\/(?!DiagnosticReports\/|system_state)/.test(name));
  const dumps = entries.filter(({name}) => /\.dmp$/i.test(name));
  const sources = [() => crashFindings(crashes, dumps, clock), () => errorFindings(state),
    () => stateFindings(sections, modules, hasAgent), () => recordFindings(run, log, TABLES.troubleshooting, found)];
  for (const source of sources) {
    await attempt(() => found.push(...source()), (fault) =>
      found.push({kind: 'warning', title: `A part of the findings cannot be shown: ${fault}`, lines: [], about: []}));
  }
  const rank = ({kind, isClosed, isOfTool}) => isClosed ? 9 : {error: 0, warning: 1, '': 2}[kind] + (isOfTool ? 3 : 0);
  return found.sort((a, b) => rank(a) - rank(b));
}
function showFindings() {
  const {findings, run: {records, runs}, log, state: {logs}} = archive, told = [];
  if (archive.isRead && logs.length && !findings.some(({kind, isOfTool}) => kind && !isOfTool))
    told.push(`No new error in ${counted(logs.length, 'log')}, no crash of the client, no fault in its state.`);
  if (!records.length) told.push('No record tells what failed while collecting.');
  else if (!records.some(isTrouble)) told.push('Nothing failed while collecting.');
  const text = `The ${counted(records.length, 'record')} of the last run (runs in this log: ${runs})`;
  fill('findings', 'What to look at', findings.map(showFinding),
    make('p', joined(told), ' ', log ? button(text, () => view(log, records[0]?.line)) : ''));
}

// ---- From the complaint to the file.
/** A name in the guide, as a button that opens the file, folder or section of a report, if that is in the archive. */
function guideCode(code) {
  const {entries, users, sections, modules} = archive, path = code.replaceAll('FIRST', () => users[0]);
  if (code.includes('USER'))
    return users.flatMap((user, i) => [i ? ' or ' : '', guideCode(code.replaceAll('USER', () => user))]);
  const section = [...sections, ...modules].find(({title}) => title === code), shown = shownName(path);
  if (section) return sectionButton(section, make('code', shown));
  if (!/^[\w-]+(?:\/|\.\w+$)/.test(code)) return make('code', shown);  // no name of a file
  const isFolder = path.endsWith('/');
  const entry = entries.find(({name}) => isFolder ? name.startsWith(path) : name === path);
  return entry ? button(make('code', shown), () => openPath(path, entry)) : make('code.absent', shown);
}
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
const OWNER = /^(?:logs\/uem_|logs\/(?!uem_|OKVU\/)|database\/|nsdbase\/)([^/]+)\//;
function showSending() {
  const {entries, sections, crashes, users} = archive, owned = new Map(users.map((user) => [user, []]));
  for (const entry of entries) listed(owned, OWNER.exec(entry.name)?.[1] ?? 'root').push(entry);
  const people = [...owned].filter(([name]) => !/^(root|share_user)$/.test(name)).slice(0, MOST_PEOPLE);
  const [, {section, values}] = factsOf(sections);  // the addresses
  const files = (like) => entries.filter(({name}) => like.test(name));
  const others = crashes.filter(({isClient}) => !isClient).map(({entry}) => entry);
  const parts = people.map(([name, list]) => [`data of ${quoted(name)}`, counted(list.length, 'file'), list]);
  for (const [noun, whose, list] of [
    ['packet capture', 'what went over the network', files(/\.p?cap(?:ng)?$/i)],
    ['crash report', 'of other makers’ programs', others],
    ['database', 'of the client', files(/\.(?:db|sqlite3?|mmap3)$/i)]])
    if (list.length) parts.push([counted(list.length, noun), whose, list]);
  if (values.length) parts.push([counted(values.length, 'address'), 'of this machine', [section]]);
  const link = (item) => make('span.count', item.entry ? sectionButton(item) : place({entry: item}));
  const rows = parts.map(([what, whose, list]) =>
    make('li', `${what}, ${whose}: `, addRows(make('span'), list, link, 4)));
  page('sending').replaceChildren(make('details', make('summary', make('b', 'Before you send it: '),
    parts.map(([what]) => what).join(' · ') || 'nothing personal was recognised'),
  make('ul', rows, make('li', 'Is your name in it, or that of your company? Ask the search.'))));
}
function copyForTicket({target}) {
  const value = ['title', 'summary', 'findings'].map((id) => page(id).innerText).join('\n');
  const area = make('textarea', {rows: 12, ariaLabel: 'The text for a ticket', value});
  target.after(area);
  area.select();
  const isCopied = document.execCommand('copy');  // which a page from the disk may do in every browser
  target.textContent = isCopied ? 'Copied' : 'Copy this text:';
  if (isCopied) area.remove();
}

// ---- Contents.
/** The documents' rows, filled in for these users; an entry belongs to the row with the longest matching path. */
function layoutRows(entries, users) {
  const inCode = (name) => shownName(name.replaceAll('`', '\''), 32);
  const filled = (text, user, first) => text.replaceAll('USER', () => user).replaceAll('FIRST', () => first);
  const rows = TABLES.layout.flatMap((row) => users.slice(0, row.path.includes('USER') ? 2 : 1).map((user) => ({...row,
    found: [], path: filled(row.path, user, users[0]), from: filled(row.from, inCode(user), inCode(users[0]))})));
  const longestFirst = [...rows].sort((a, b) => b.path.length - a.path.length);
  for (const entry of entries) longestFirst.find(({path}) =>
    path.endsWith('/') ? entry.name.startsWith(path) : entry.name === path)?.found.push(entry);
  return rows;
}
function stateOf({path, found, why}) {
  const size = sum(found, 'size');
  if (found.length) return `${counted(found.length, 'file')}, ${size ? bytesText(size) : 'empty'}`;
  return archive.run.records.some(({message}) => message.startsWith(path)) ? 'there' :
    make('span.absent', 'missing, for reasons such as: ', rich(why));
}
/** All files, in a list for each folder, the largest first. */
function showFiles(entries) {
  const folders = new Map();
  for (const entry of entries) listed(folders, entry.name.slice(0, entry.name.lastIndexOf('/') + 1)).push(entry);
  const sorted = [...folders].sort(([a], [b]) => a < b ? -1 : 1);
  const row = (name, size) => make('span.row', name, make('span.size', bytesText(size)));
  const file = (entry) => row([button(shownName(fileOf(entry.name)), () => view(entry)), saver(entry)], entry.size);
  return addRows(make('div', {id: 'tree'}), sorted, ([path, list]) => make('details', {path},
    make('summary', row(`${shownName(path || 'at the top')}, ${counted(list.length, 'file')}`, sum(list, 'size'))),
    addRows(make('div.tree'), list.sort((a, b) => b.size - a.size), file, MOST_FILES)));
}
function openPath(path, entry) {
  if (entry.name === path) return void view(entry);
  const folders = [...page('tree').children].filter((folder) => folder.path.startsWith(path));
  for (const folder of folders) folder.open = true;
  folders[0]?.scrollIntoView();
}
function showContents() {
  const {entries, users} = archive;
  fill('contents', 'What is in it', table(['In the archive', 'From', 'There'], layoutRows(entries, users), (row) => {
    const {path, from, found: [entry]} = row, name = shownName(path);
    return tableRow([entry ? button(name, () => openPath(path, entry)) : name, rich(from), stateOf(row)]);
  }), make('h3', `All ${counted(entries.length, 'file')}`), showFiles(entries));
}

// ---- The machine.
function showMachine() {
  const {sections, modules} = archive;
  const value = (text) => make('div', visible(text.slice(0, 200)));
  const row = ({name, section, values}) => tableRow(!section ? [name, 'not in the archive'] :
    [sectionButton(section, name), values.length ? addRows(make('div'), values, value, 4) : make('b.warning', 'none')]);
  fill('machine', 'The machine', table(['What', 'Found'], factsOf(sections), row), make('h3', 'All sections'),
    [...sections, ...modules].map((section) => make('span.count', sectionButton(section))));
}

// ---- Opening an archive.
/** The users whose files are in the archive: first the one at the screen, if there was one; then root. */
function usersOf(entries, records) {
  const found = [...entries.map(({name}) => /^(?:logs\/uem_|database\/|nsdbase\/)([^/]+)\//.exec(name)?.[1]),
    ...records.map(({message}) => /\/Users\/([^/]+)\/Library\//.exec(message)?.[1])];
  const isNobody = records.some(({message}) => message === 'getCurrentLoginUser failed.');
  return [...new Set([!isNobody && found.find((user) => user && !/^(root|share_user)$/.test(user)) || 'root', 'root'])];
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
function endOf(file, [first]) {
  const inName = stampOf(fileOf(file.name).replace(/.*_(?=\d{14}\.zip)/, ''), {end: 0});
  return first?.time || inName?.time ||
    file.lastModified - new Date(file.lastModified).getTimezoneOffset() * HOUR / 60;
}
async function readArchive(file) {
  const {entries, notes} = await readDirectory(file), sections = [];
  const log = entries.findLast(({name}) => name === OWN_LOG);
  const read = async (entry, keep, most) => {
    const found = await readText(textOf(file, entry, most), keep);
    if (found.fault) notes.push([entry.name, found.fault]);
    return found;
  };
  const {text, line} = log ? await read(log, OWN_LOG_CHARS, OWN_LOG_BYTES) : {text: '', line: 1};
  const run = readRun(text, line), clock = {end: endOf(file, run.records)};
  if (!run.runs) notes.push(['', `It holds no ${OWN_LOG} in which a run begins.`]);
  const isReport = ({name}) => /^(system_info|logs\/uem_[^/]+\/system_state)\.log$/.test(name);
  for (const entry of entries.filter(isReport).slice(-2))
    sections.push(...sectionsOf((await read(entry, REPORT_CHARS, REPORT_CHARS)).text, entry));
  const made = {file, entries, notes, log, run, clock, sections, state: newState(clock), modules: [], crashes: [],
    users: usersOf(entries, run.records)};
  const failed = (fault) => notes.push(['', `A part of it cannot be read: ${fault}`]);
  await attempt(() => { made.modules = modulesOf(run, log, TABLES.modules); }, failed);
  await attempt(async () => { made.crashes = await readCrashes(file, entries, clock, notes); }, failed);
  return {...made, summary: summaryOf(made)};
}
async function showParts(parts) {
  for (const [id, show] of Object.entries(parts)) {
    await attempt(show, (fault) => page(id).replaceChildren(make('p.warning', `This part cannot be shown: ${fault}`)));
    await rest();
  }
}
async function showAnswers() {
  archive.findings = await findAll();
  await showParts({findings: showFindings, complaints: showComplaints, timeline: showTimeline});
}
let opened = 0;
/** Shows an archive, its logs' answers once they are read; stops when another is opened meanwhile. */
async function open(file) {
  const mine = ++opened, isCurrent = () => mine === opened, {dataset} = document.body;
  const say = (state, summary, failure = '') => {
    dataset.state = state;
    page('summary').textContent = summary;
    page('failure').textContent = failure;
  };
  say('reading', 'Reading …');
  dataset.logs = '';
  page('title').textContent = shownName(file.name, 200);
  document.title = `${page('title').textContent} – log archive`;
  page('viewer').close();
  page('notes').replaceChildren();
  await attempt(async () => {
    const made = await readArchive(file), {entries, notes, state} = made, total = logsOf(entries).length;
    if (!isCurrent()) return;
    archive = made;
    dataset.logs = 'reading';
    await showParts({machine: showMachine, contents: showContents, sending: showSending});
    await showAnswers();
    if (!isCurrent()) return;
    page('notes').append(...notes.map(([of, text]) => make('li', of ? `${quoted(of)}: ${text}` : text)));
    say('shown', made.summary);
    page('copy').textContent = 'Copy for a ticket';
    const files = new Set([...logsOf(entries), ...entries]);
    onTyped(page('search'), [...files], page('hits'));
    search(page('search').value.trim(), [...files], page('hits'));  // which also ends a search in the last archive
    await readLogs(file, entries, state, isCurrent, ({logs}) => {
      page('reading').textContent = `Reading the logs: ${logs.length} of ${total} …`;
    });
    if (!isCurrent()) return;
    made.isRead = true;
    await showAnswers();
    if (!isCurrent()) return;
    dataset.logs = 'read';
    page('reading').textContent = '';
  }, (fault) => isCurrent() && say('failed', '', `It cannot be shown. ${fault}`));
}
const chooser = document.querySelector('input[type=file]'), openFirst = ([file]) => file && open(file);
chooser.onclick = () => { chooser.value = ''; };  // so that the same file can be chosen again
chooser.onchange = () => openFirst(chooser.files);
document.ondragover = (event) => event.preventDefault();
document.ondrop = (event) => {
  event.preventDefault();
  openFirst(event.dataTransfer.files);
};
page('copy').onclick = copyForTicket;
page('failure').textContent = globalThis.DecompressionStream ? '' :
  'This browser cannot unpack archives: take Safari 16.4, Chrome 80, Firefox 113 or a newer one.';

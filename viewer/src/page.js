// The page: its elements, its parts, and opening an archive. Content of an archive is always inserted as text.
const MOST_ROWS = 500, MOST_EVIDENCE = 6;  // rows shown at once, and lines of a finding
const OWN_LOG_CHARS = 24 * MIB, OWN_LOG_BYTES = 192 * MIB;  // kept: its end; read at most to reach that
const REPORT_CHARS = 8 * MIB, MOST_PEOPLE = 20;
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
    [more.textContent, more.hidden] = [`${items.length - shown} more …`, shown >= items.length];
  };
  add(most);
  return [parent, more];
}
const tableRow = ([first, ...cells]) => make('tr', make('th', {scope: 'row'}, first),
  cells.map((cell) => make('td', cell)));
function table(head, items, toRow, style = '', most = MOST_ROWS) {
  const [body, more] = addRows(make('tbody'), items, toRow, most);
  return make('div.wide', make(`table${style}`, make('thead', make('tr',
    head.map((title) => make('th', {scope: 'col'}, title)))), body), more);
}
/** Does something, so that when it fails nothing else does. */
function tried(task, failed) { try { task(); } catch (error) { failed(sentence(error)); } }
const fill = (id, title, ...children) => page(id).replaceChildren(make('h2', title), make('div', ...children));
/** Formats a cell of a document's table: text between backticks becomes code, or what `onCode` makes of it. */
const rich = (cell, onCode = (code) => make('code', code)) => cell.replace(/\[([^\]]*)\]\([^)]*\)|\*\*/g, '$1')
  .split('`').map((part, i) => i % 2 ? onCode(part) : part);
/** A button with a file's name, and a line's number, that opens it there. */
const place = ({entry, line = 0, word = ''}) =>
  button(`${shownName(entry.name)}${line ? `:${line}` : ''}`, () => view(entry, {line, word}));
const sectionButton = (section, text = section.title) => button(text, () => view(section.entry, section));
const sectionOf = ({sections}, title) => sections.find((section) => section.title === title);

// ---- Findings.
function showFinding(finding) {
  const {kind, title, lines, todo, isClosed, isRich} = finding, head = isRich ? rich(title) : visible(title);
  const list = addRows(make('ul'), lines, (line) => make('li', line.entry ? place(line) : '', ' ',
    make('span.note', line.note ?? ''), ' ', make('code', visible(line.text))), isClosed ? MOST_ROWS : MOST_EVIDENCE);
  finding.shown = make(`div.finding${kind && `.${kind}`}`, isClosed ? make('details', make('summary', head), list) :
    [make('h3', head), todo ? make('p', 'What to do: ', rich(todo)) : '', list]);
  return finding.shown;
}
/** All findings, by the logs as far as they are read. A source of findings that fails takes no other with it. */
function findAll() {
  const {entries, sections, modules, crashes, clock, run, log, state} = archive, found = [];
  const attempt = (task) => tried(() => found.push(...task()), (fault) =>
    found.push({kind: 'warning', title: `A part of the findings cannot be shown: ${fault}`, lines: []}));
  const hasAgent = entries.some(({name}) => /^logs\/uem_[^/]+\/(?!DiagnosticReports\/|system_state)/.test(name));
  attempt(() => crashFindings(crashes, entries.filter(({name}) => /\.dmp$/i.test(name)), clock));
  attempt(() => errorFindings(state));
  attempt(() => stateFindings(sections, modules, hasAgent));
  const hasFailed = found.some(({kind, about}) => kind === 'error' && /process|plist|diagnosticReports/.test(about));
  attempt(() => recordFindings({run, log}, TABLES.troubleshooting, hasFailed));
  return sorted(found);
}
function showFindings() {
  const {findings, run: {records, runs}, log, state, isRead} = archive;
  const isCalm = isRead && !findings.some(({kind, isOfTool, isClosed}) => kind && !isOfTool && !isClosed);
  fill('findings', 'What to look at', isCalm ? make('p', `${state.logs.length ?
    `No new error in ${counted(state.logs.length, 'log')}` : 'It holds no log'}; ` +
    'no crash of the client, no fault in its state.') : '', findings.map(showFinding),
  make('p', !records.length ? 'No record tells what failed while collecting. ' :
    records.some(isTrouble) ? '' : 'Nothing failed while collecting. ', log ?
    [button(`The ${counted(records.length, 'record')} of the last run`, () => view(log, {line: records[0]?.line})),
      ` (runs in this log: ${runs})`] : ''));
}

// ---- From the complaint to the file.
/** A name in the guide, as a button that opens the file, folder or section of a report, if that is in the archive. */
function guideCode(code) {
  const {entries, users, sections, modules} = archive, path = code.replaceAll('FIRST', () => users[0]);
  if (code.includes('USER'))
    return users.flatMap((user, i) => [i ? ' or ' : '', guideCode(code.replaceAll('USER', () => user))]);
  const section = [...sections, ...modules].find(({title}) => title === code);
  const entry = entries.find(({name}) => path.endsWith('/') ? name.startsWith(path) : name === path);
  const isNamed = /^[\w-]+(?:\/|\.\w+$)/.test(code) || [...TABLES.modules, ...TABLES.sections].includes(code);
  if (!section && !entry)
    return make('code', isNamed && {className: 'absent', title: 'not in this archive'}, shownName(path));
  return button(shownName(path), () => section ? view(section.entry, section) : openPath(path, entry),
    {className: 'code'});
}
/** The findings that bear on a complaint: its steps name where they come from; those about logs, a word of theirs. */
function bearing(steps, findings) {
  const codes = steps.map((step) => step.split('`').filter((_, i) => i % 2)), all = codes.flat();
  const words = codes.filter(([first]) => first?.endsWith('/')).flat().filter((code) => /^[\w -]{3,}$/.test(code));
  return findings.filter(({isClosed, about, words: said = []}) => !isClosed && (
    about?.some((name) => all.includes(name)) ||
    said.some((text) => words.some((word) => text.includes(word.toLowerCase())))));
}
function showComplaints() {
  const wasOpen = [...page('complaints').querySelectorAll('[open] > summary')].map(({textContent}) => textContent);
  fill('complaints', 'From the complaint to the file', TABLES.complaints.map(([title, steps]) => {
    const found = bearing(steps, archive.findings), name = `“${title}”`, list = make('ol');
    const ontoggle = () => list.firstChild ||
      list.append(...steps.map((step) => make('li', rich(step, guideCode))));
    return make('details', {ontoggle, open: wasOpen.includes(name)}, make('summary', name),
      found.length ? make('div', 'Found here:', make('ul', found.map(({title: said, shown, isRich}) =>
        make('li', button(isRich ? rich(said) : visible(said), () => shown.scrollIntoView()))))) : '', list);
  }));
}

// ---- Before it is sent, and for a ticket.
const OWNER = /^(?:logs\/uem_|logs\/(?!uem_|OKVU\/)|database\/|nsdbase\/)([^/]+)\//;
function showSending() {
  const {entries, sections, crashes, users} = archive, owned = new Map(users.map((user) => [user, []]));
  for (const entry of entries) listed(owned, OWNER.exec(entry.name)?.[1] ?? 'root').push(entry);
  const people = [...owned].filter(([name]) => !/^(root|share_user)$/.test(name)).slice(0, MOST_PEOPLE);
  const files = (like) => entries.filter(({name}) => like.test(name)), addresses = addressesOf(sections);
  const kinds = [['packet capture', 'what went over the network', files(/\.p?cap(?:ng)?$/i)],
    ['crash report', 'of other makers’ programs', crashes.filter(({isClient}) => !isClient).map(({entry}) => entry)],
    ['database', 'of the client', files(/\.(?:db|sqlite3?|mmap3)$/i)]].filter(([, , list]) => list.length);
  const parts = [...people.map(([name, list]) => [`data of ${quoted(name)}`, `${counted(list.length, 'file')}; `,
    button('where does this name stand?', () => {
      page('search').value = name;
      search(name);
      page('hits').scrollIntoView();
    })]),
  ...kinds.map(([noun, why, list]) => [counted(list.length, noun), `${why}: `,
    addRows(make('span'), list, (entry) => make('span.count', place({entry})), 4)]),
  ...addresses.length ? [[counted(addresses.length, 'address'), 'of this machine: ',
    sectionButton(sectionOf(archive, 'netcard'))]] : []];
  page('sending').replaceChildren(make('details', make('summary', make('b', 'Before you send it: '),
    parts.map(([what]) => what).join(' · ') || 'nothing personal was recognised'),
  make('ul', parts.map(([what, ...more]) => make('li', `${what}: `, more)),
    make('li', 'Is your name in it, or that of your company? Ask the search.'))));
}
function ticketText({title, summary, findings}) {
  const lineText = ({text, note, entry, line}) =>
    `    ${joined([entry && shownName(entry.name) + (line ? `:${line}` : ''), note, shownName(text, 300)])}`;
  return [title, summary, '', ...findings.filter(({isClosed}) => !isClosed).flatMap(({kind, title: said, lines}) =>
    [`- ${kind && `${kind}: `}${visible(said)}`, ...lines.slice(0, 3).map(lineText)]), ''].join('\n');
}
function copyForTicket({target}) {
  const area = make('textarea', {rows: 12, ariaLabel: 'The text for a ticket', value: ticketText(archive)});
  target.after(area);
  area.select();
  const isCopied = document.execCommand('copy');  // which a page from the disk may do in every browser
  target.textContent = isCopied ? 'Copied' : 'Copy this text:';
  if (isCopied) area.remove();
  else area.onblur = () => area.remove();
}

// ---- Contents.
/** The documents' rows, filled in for these users; an entry belongs to the row with the longest matching path. */
function layoutRows(entries, users) {
  const inCode = (name) => shownName(name.replaceAll('`', '\''), 32);
  const rows = TABLES.layout.flatMap((row) =>
    (JSON.stringify(row).includes('USER') ? users : users.slice(0, 1)).map((user) => {
      const filled = (text, told = (name) => name) =>
        text.replaceAll('USER', () => told(user)).replaceAll('FIRST', () => told(users[0]));
      return {...row, path: filled(row.path), from: filled(row.from, inCode),
        sources: row.sources.map((path) => filled(path)), found: []};
    }));
  const longestFirst = [...rows].sort((a, b) => b.path.length - a.path.length);
  for (const entry of entries) longestFirst.find(({path}) =>
    path.endsWith('/') ? entry.name.startsWith(path) : entry.name === path)?.found.push(entry);
  return rows;
}
const mentions = (message, path) =>
  [` ${path} `, ` ${path}/`, `(${path})`, `(${path}/`].some((text) => ` ${message} `.includes(text));
/** What there is of a row, or why there is nothing; `told` are the records that may tell. */
function stateOf({path, found, sources, patterns, why}, told) {
  const {run: {records}, log} = archive, size = sum(found, 'size');
  if (found.length) return `${counted(found.length, 'file')}, ${size ? bytesText(size) : 'empty'}`;
  if (records.some(({message}) => message.startsWith(path))) return 'there';
  const about = told.filter(({message}) => sources.some((source) => mentions(message, source)));
  const reason = about.find(isTrouble) ?? records.find(({message}) => patterns.some((parts) => fits(parts, message)));
  const ignored = about.length && `${counted(about.length, 'file')} of kinds that are not collected`;
  return make('span.absent', 'missing: ', reason ? make('code', visible(reason.message.slice(0, 500))) :
    ignored || (log && sources.length ? 'nothing was in that folder' : rich(why)));
}
/** Shows the items of one folder: the list has [entry, parts of its name] of all entries below it. */
function treeRows(list, depth) {
  const groups = new Map();
  for (const item of list) listed(groups, item[1].length === depth + 1 ? item[0] : item[1][depth]).push(item);
  const all = [...groups.values()].map((inner) => {
    const [[entry, parts]] = inner, isFile = parts.length === depth + 1;
    return {entry: isFile && entry, inner, name: parts[depth] + (isFile ? '' : '/'),
      size: inner.reduce((total, [{size}]) => total + size, 0)};
  }).sort((a, b) => a.name < b.name ? -1 : 1);
  const largest = all.reduce((most, {size}) => Math.max(most, size), 1);
  return make('div.tree', addRows(make('div'), all, ({entry, inner, name, size}) => {
    const text = shownName(name), row = make('span.row', entry ? [button(text, () => view(entry)), saver(entry)] :
      make('span', text), make('progress', {value: size / largest}), make('span.size', bytesText(size)));
    const ontoggle = ({target}) => target.children.length > 1 || target.append(treeRows(inner, depth + 1));
    return entry ? row : make('details', {ontoggle}, make('summary', row));
  }));
}
/** Shows all files below a path, as a tree. */
function showTree(path) {
  const list = archive.entries.filter(({name}) => name.startsWith(path)).map((entry) => [entry, entry.name.split('/')]);
  page('tree').replaceChildren(make('h3', path ? [`${shownName(path)}: `, button('show all', () => showTree(''))] :
    `All ${counted(list.length, 'file')}`), treeRows(list, path.split('/').length - 1));
  if (path) page('tree').scrollIntoView();
}
const openPath = (path, entry) => entry.name === path ? view(entry) : showTree(path);
function showContents() {
  const {entries, users, run} = archive;
  const told = run.records.filter((record) => isTrouble(record) || record.message.endsWith(' will ignore'));
  fill('contents', 'What is in it', table(['In the archive', 'From', 'There'], layoutRows(entries, users), (row) => {
    const {path, from, found: [entry]} = row, name = shownName(path);
    return tableRow([entry ? button(name, () => openPath(path, entry)) : name, rich(from), stateOf(row, told)]);
  }), make('div', {id: 'tree'}));
  showTree('');
}

// ---- The machine.
/** The addresses of the network cards but for the loopback. */
const addressesOf = (sections) => (sectionOf({sections}, 'netcard')?.lines ?? []).flatMap((line) =>
  /^\s*inet6? (?!127\.|::1\b|fe80::1%lo0)(\S{1,60})/.exec(line)?.[1] ?? []);
const SYSTEM = /<key>Product(?:Name|Version)<\/key>\s{0,99}<string>([^<\n]{1,60})|^PRETTY_NAME="?([^"\n]{1,60})/gm;
const systemOf = (sections) => [...(sectionOf({sections}, 'os info')?.lines.join('\n') ?? '').matchAll(SYSTEM)]
  .map(([, mac, other]) => mac ?? other);
function showMachine() {
  const {sections, modules} = archive, like = (pattern) => (lines) => lines.filter((line) => pattern.test(line));
  const facts = [['System', 'os info', () => systemOf(sections)], ['Addresses', 'netcard', () => addressesOf(sections)],
    ['Tunnel interface utun7', 'route info', like(/^(?:\d+: )?utun7:/)],
    ['Routes through utun7', 'route info', like(/^(?!\s|\d+: |utun7:).*\butun7\b/)],
    ['Name servers', 'resolv dns info', (lines) => like(/^nameserver/)(lines).map((line) => line.slice(10).trim())],
    ['Processes of the client', 'obrela process info'], ['Processes of FernGateway', 'ferngateway process info'],
    ['Processes of the management agent', 'UEM processes'], ['Launch jobs', 'plist info'], ['SIP', 'SIP state'],
    ['Kernel extensions', 'KEXT state', like(/quelmar|brela/i)],
    ['System extensions', 'SEXT state', like(/quelmar|brela/i)]];
  fill('machine', 'The machine', table(['What', 'Found'], facts, ([name, title, valuesIn = like(ALL)]) => {
    const section = sectionOf(archive, title);
    if (!section) return tableRow([name, 'not in the archive']);
    const values = valuesIn(section.lines.filter((line) => !/\bgrep\b/.test(line)));
    return tableRow([sectionButton(section, name), values.length ? addRows(make('div'), values,
      (value) => make('div', visible(value.slice(0, 200))), 4) : make('b.warning', 'none')]);
  }), make('h3', 'All sections'), make('ul', [...sections, ...modules].map((section) =>
    make('li', sectionButton(section, `${modules.includes(section) ? 'tunnel: ' : ''}${shownName(section.title)}`),
      make('span.faint', section.lines.length ? ` ${counted(section.lines.length, 'line')}` : ' empty')))));
}

// ---- Opening an archive.
/** The users whose files are in the archive: first the one at the screen, if there was one; then root. */
function usersOf({entries, run: {records}}) {
  const found = [...entries.map(({name}) => /^(?:logs\/uem_|database\/|nsdbase\/)([^/]+)\//.exec(name)?.[1]),
    ...records.map(({message}) => /\/Users\/([^/]+)\/Library\//.exec(message)?.[1])];
  const isNobody = records.some(({message}) => message === 'getCurrentLoginUser failed.');
  return [...new Set([!isNobody && found.find((user) => user && !/^(root|share_user)$/.test(user)) || 'root', 'root'])];
}
function summaryOf({file, entries, run, users, crashes, sections}) {
  const version = /_([\d.]{1,30})_\d{14}/.exec(file.name)?.[1], [first] = run.records;
  const client = crashes.find((crash) => crash.isClient && crash.version);
  const took = (run.records.at(-1)?.time - first?.time) / 1000;
  const people = users.map((user) => user === 'root' ? user : quoted(user)).join(' and ');
  return joined([`Collected ${first?.stamp.slice(0, 19) ?? 'at an unknown time'} for ${people}`, client ?
    `client ${shownName(client.version, 40)} (by a crash report)` : version &&
    `${version} in the name is not the client’s version`,
  shownName(systemOf(sections).join(' ') || 'unknown system', 60),
  `${bytesText(file.size)}, ${counted(entries.length, 'file')}, ${bytesText(sum(entries, 'size'))} unpacked`,
  took > 0 && `collecting took ${took.toFixed(1)} s`], ' · ');
}
/** When the archive was made: as its log says, or else its name, or else the date of the file. */
function endOf({run, file}) {
  const stamp = stampOf(fileOf(file.name).replace(/.*_(?=\d{14}\.zip)/, ''), {end: 0});
  return run.records[0]?.time || (stamp?.time ??
    file.lastModified - new Date(file.lastModified).getTimezoneOffset() * HOUR / 60);
}
/** Reads what is needed to show the first screen. */
async function readArchive(file) {
  const made = {file, sections: [], modules: [], crashes: [], title: shownName(file.name, 200),
    ...await readDirectory(file)};
  const {entries, notes} = made, attempt = async (name, task) => {
    try { await task(); } catch (error) { notes.push([name, sentence(error)]); }
  };
  const read = async (entry, keep, most) => {
    const found = await readText(textOf(file, entry, most), keep);
    if (found.fault) notes.push([entry.name, found.fault]);
    return found;
  };
  const log = entries.findLast(({name}) => name === OWN_LOG) ??
    entries.find(({name}) => /^logs\/[^/]+\/LogColltionTool\.log$/.test(name));
  const {text, line} = log ? await read(log, OWN_LOG_CHARS, OWN_LOG_BYTES) : {text: '', line: 1};
  Object.assign(made, {log, run: readRun(text, line)});
  if (log?.name !== OWN_LOG) notes.push([log?.name ?? '',
    `It holds no ${OWN_LOG}${log ? '; this one is read for it' : ''}.`]);
  if (log && !made.run.runs) notes.push(['', `No run begins in ${OWN_LOG}; what it holds is shown all the same.`]);
  Object.assign(made, {clock: {end: endOf(made)}, users: usersOf(made)});
  made.state = newState(made.clock);
  const isReport = ({name}) => /^(system_info|logs\/uem_[^/]+\/system_state)\.log$/.test(name);
  for (const entry of entries.filter(isReport).slice(-2)) await attempt(entry.name, async () => {
    made.sections.push(...sectionsOf((await read(entry, REPORT_CHARS, REPORT_CHARS)).text, entry));
  });
  await attempt('xtunnel dump', () => { made.modules = modulesOf(made, TABLES.modules); });
  await attempt('crash reports', async () => { made.crashes = await readCrashes(file, entries, made.clock); });
  return Object.assign(made, {summary: summaryOf(made)});
}
/** Shows parts; one that fails says so in its place. */
async function showParts(parts) {
  for (const [id, show] of Object.entries(parts)) {
    tried(show, (fault) => page(id).replaceChildren(make('p.warning', `This part cannot be shown: ${fault}`)));
    await rest();
  }
}
function showAnswers() {
  archive.findings = findAll();
  return showParts({findings: showFindings, complaints: showComplaints, timeline: showTimeline});
}
let opened = 0;
async function open(file) {
  const mine = ++opened, isCurrent = () => mine === opened, {dataset} = document.body, name = shownName(file.name, 200);
  const say = (state, summary, failure) => {
    [dataset.state, page('summary').textContent, page('failure').textContent] = [state, summary, failure];
  };
  say('reading', 'Reading …', '');
  [dataset.logs, page('title').textContent, document.title] = ['', name, `${name} – log archive`];
  page('viewer').close();
  page('notes').replaceChildren();
  try {
    const made = await readArchive(file), {entries, notes, state} = made, total = logsOf(entries).length;
    if (!isCurrent()) return;
    archive = made;
    dataset.logs = 'reading';
    await showParts({machine: showMachine, contents: showContents, sending: showSending});
    await showAnswers();
    if (!isCurrent()) return;
    page('notes').append(...notes.map(([of, text]) => make('li', of ? `${quoted(of)}: ${text}` : text)));
    say('shown', made.summary, '');
    Object.assign(page('copy'), {onclick: copyForTicket, textContent: 'Copy for a ticket'});
    startSearch();
    await readLogs(file, entries, state, isCurrent, ({logs}) => {
      page('reading').textContent = `Reading the logs: ${logs.length} of ${total} …`;
    });
    if (!isCurrent()) return;
    made.isRead = true;
    await showAnswers();
    if (isCurrent()) [dataset.logs, page('reading').textContent] = ['read', ''];
  } catch (error) { if (isCurrent()) say('failed', '', `It cannot be shown. ${sentence(error)}`); }
}
const chooser = document.querySelector('input[type=file]'), openFirst = ([file]) => { if (file) open(file); };
chooser.onclick = () => { chooser.value = ''; };  // so that the same file can be chosen again
chooser.onchange = () => openFirst(chooser.files);
document.ondragover = (event) => event.preventDefault();
document.ondrop = (event) => { event.preventDefault(); openFirst(event.dataTransfer.files); };
page('failure').textContent = globalThis.DecompressionStream ? '' :
  'This browser cannot unpack archives: take Safari 16.4, Chrome 80, Firefox 113 or a newer one.';

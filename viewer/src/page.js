// The page: its elements, its parts, and opening an archive. Content of an archive is always inserted as text.
const MOST_ROWS = 500, MOST_DEEP = 64, MOST_EVIDENCE = 6;  // rows shown at once, levels of folders, lines of a finding
const OWN_LOG_CHARS = 24 * MIB, OWN_LOG_BYTES = 192 * MIB;  // kept: its end; read at most to reach that
const REPORT_CHARS = 8 * MIB, MOST_PEOPLE = 20;
const page = (id) => document.getElementById(id), TABLES = JSON.parse(page('tables').textContent);

/** Makes an element from its tag and classes, `p.faint`; the other arguments are attributes, listeners and children. */
function make(name, ...rest) {
  const [tag, ...classes] = name.split('.'), element = document.createElement(tag);
  element.className = classes.join(' ');
  for (const part of rest.flat(Infinity)) {
    if (typeof part === 'string' || part instanceof Node) element.append(part);
    else for (const [key, value] of Object.entries(part || {})) {
      if (typeof value === 'function') element.addEventListener(key, value);
      else if (key === 'value') element.value = value;
      else element.setAttribute(key, value);
    }
  }
  return element;
}
const button = (text, click, more = {}) => make('button', {type: 'button', click, ...more}, text);
function table(head, rows) {
  const body = rows.map(([first, ...cells]) => make('tr', make('th', {scope: 'row'}, first),
    cells.map((cell) => make('td', cell))));
  return make('div.wide', make('table', make('thead',
    make('tr', head.map((title) => make('th', {scope: 'col'}, title)))),
    make('tbody', body)));
}
const fill = (id, title, ...children) => page(id).replaceChildren(make('h2', title), make('div', ...children));
/** A bar as long as this part of the whole. */
function barOf(part, kind = '') {
  const bar = make(`span.bar${kind}`);
  bar.style.width = `${100 * part}%`;
  return make('span.share', bar);
}
/** Formats a cell of a document's table: text between backticks becomes code, or what `onCode` makes of it. */
const rich = (cell, onCode = (code) => make('code', code)) =>
  cell.replace(/\[([^\]]*)\]\([^)]*\)|\*\*/g, '$1').split('`')
  .map((part, i) => i % 2 ? onCode(part) : part);
/** A name for a cell, between its backticks. */
const inCode = (name) => shownName(name.replaceAll('`', '\''), 32);
/** Adds a row for each item to a parent: the first `most` now, more at each click on a button. */
function addRows(parent, items, toRow, most = MOST_ROWS) {
  parent.append(...items.slice(0, most).map(toRow));
  if (items.length <= most) return parent;
  const more = button(`${items.length - most} more …`,
    () => { holder.remove(); addRows(parent, items.slice(most), toRow); });
  const holder = parent.tagName === 'TBODY' ? make('tr', make('td', more)) :
    make(parent.matches('ul, ol') ? 'li' : 'span', more);
  parent.append(holder);
  return parent;
}
/** A button with a file's name, and a line's number, that opens it there. */
const place = (archive, {entry, line = 0, word = ''}) =>
  button(`${shownName(entry.name)}${line ? `:${line}` : ''}`, () => view(archive, entry, {line, word}));

// ---- Findings.
function showFinding(archive, finding) {
  const {kind, title, lines, todo, isClosed, isRich} = finding, head = isRich ? rich(title) : visible(title);
  const list = addRows(make('ul'), lines, ({text, note, place: where}) =>
    make('li', where.entry ? place(archive, where) : '', ' ',
    note ? make('span.note', note, ' ') : '', make('code', visible(text))), isClosed ? MOST_ROWS : MOST_EVIDENCE);
  finding.shown = make(`div.finding${kind && `.${kind}`}`, isClosed ? make('details', make('summary', head), list) :
    [make('h3', head), todo ? make('p', 'What to do: ', rich(todo)) : '', list]);
  return finding.shown;
}
/** All findings, by the logs as far as they are read. A source of findings that fails takes no other with it. */
function findAll({entries, sections, modules, crashes, clock, run, log, state}) {
  const found = [], attempt = (task) => {
    try { found.push(...task()); } catch (error) {
      found.push({kind: 'warning', title: `A part of the findings cannot be shown: ${sentence(error)}`, lines: []});
    }
  };
  const hasAgent = entries.some(({name}) => /^logs\/uem_[^/]+\/(?!DiagnosticReports\/|system_state)/.test(name));
  attempt(() => errorFindings(state));
  attempt(() => crashFindings(crashes, entries.filter(({name}) => /\.dmp$/i.test(name)), clock));
  attempt(() => stateFindings(sections, modules, hasAgent));
  const hasFailed = found.some(({kind, isCrash, about}) => kind === 'error' &&
    (isCrash || /process|plist/.test(about)));
  attempt(() => recordFindings({run, log}, TABLES.troubleshooting, hasFailed));
  return sorted(found);
}
function showFindings(archive) {
  const {findings, run: {records, runs}, log, state} = archive, show = (finding) => showFinding(archive, finding);
  const said = !log ? 'No log tells what failed while collecting.' :
    !records.length ? 'No record tells what failed while collecting.' :
    records.some(isTrouble) ? '' : 'Nothing failed while collecting.';
  const open = findings.filter(({isClosed}) => !isClosed), isCalm = !open.some(({kind, isOfTool}) => kind && !isOfTool);
  fill('findings', 'What to look at', isCalm && document.body.dataset.logs === 'read' ?
    make('p', `${state.logs.length ? `No new error in ${counted(state.logs.length, 'log')}` : 'It holds no log'}; ` +
      'no crash of the client, no fault in its state.') : '',
  open.map(show), findings.filter(({isClosed}) => isClosed).map(show), make('p', said, ' ', log ? [button(
    `The ${counted(records.length, 'record')} of the last run`,
      () => view(archive, log, {line: records[0]?.line ?? 0})),
  ` (runs in this log: ${runs})`] : ''));
}

// ---- From the complaint to the file.
/** A name in the guide, as a button that opens the file, folder or section of a report, if that is in the archive. */
function guideCode(archive, code) {
  const {entries, users: [first], sections, modules} = archive, path = code.replaceAll('FIRST', () => first);
  if (code.includes('USER')) return archive.users.flatMap((user, i) =>
    [i ? ' or ' : '', guideCode(archive, code.replaceAll('USER', () => user))]);
  const section = [...sections, ...modules].find(({title}) => title === code),
    entry = entries.find(({name}) => name === path);
  const isFolder = path.endsWith('/') && entries.some(({name}) => name.startsWith(path));
  const isNamed = /^[\w-]+(?:\/|\.\w+$)/.test(code) || [...TABLES.modules, ...TABLES.sections].includes(code);
  const click = section ? () => jumpTo(section) : entry ? () => view(archive, entry) : isFolder &&
    (() => openFolder(path));
  return click ? button(shownName(path, 200), click, {class: 'code'}) :
    make('code', isNamed ? {class: 'absent', title: 'not in this archive'} : {}, shownName(path, 200));
}
/** The findings that bear on a complaint: its steps name where they come from; those about logs, a word of theirs. */
function bearing(steps, findings) {
  const codes = steps.map((step) => step.match(/`[^`]+`/g)?.map((code) => code.slice(1, -1)) ?? []), all = codes.flat();
  const words = codes.filter(([first]) => first?.endsWith('/')).flat().filter((code) => /^[\w -]{3,}$/.test(code));
  return findings.filter(({isClosed, about, words: said = []}) => !isClosed &&
    (about?.some((name) => all.includes(name)) ||
    said.some((text) => words.some((word) => text.includes(word.toLowerCase())))));
}
function showComplaints(archive) {
  const wasOpen = [...page('complaints').querySelectorAll('details[open] > summary')].map(({textContent}) =>
    textContent);
  fill('complaints', 'From the complaint to the file', TABLES.complaints.map(([title, steps]) => {
    const found = bearing(steps, archive.findings), name = `“${title}”`;
    const links = found.map((finding) => make('li',
      button(visible(finding.title), () => finding.shown.scrollIntoView())));
    const list = make('ol'), toggle = () => list.firstChild || list.append(...steps.map((step) =>
      make('li', rich(step, (code) => guideCode(archive, code)))));
    return make('details', {toggle}, wasOpen.includes(name) ? {open: ''} : {}, make('summary', name),
      found.length ? make('div', 'Found here:', make('ul', links)) : '', list);
  }));
}

// ---- Before it is sent, and for a ticket.
const OWNER = /^(?:logs\/uem_|logs\/(?!uem_|OKVU\/)|database\/|nsdbase\/)([^/]+)\//;
function showSending(archive) {
  const {entries, sections, crashes, users} = archive, addresses = addressesOf(sections);
  const people = [...new Set([...users, ...entries.map(({name}) => OWNER.exec(name)?.[1])])]
    .filter((name) => name && !/^(root|share_user)$/.test(name)).slice(0, MOST_PEOPLE);
  const owned = (name) => entries.filter((entry) => OWNER.exec(entry.name)?.[1] === name);
  const files = (like) => entries.filter(({name}) => like.test(name));
  const kinds = [[files(/\.p?cap(?:ng)?$/i), 'packet capture', 'what went over the network'],
    [crashes.filter(({isClient}) => !isClient).map(({entry}) => entry), 'crash report', 'of other makers’ programs'],
    [files(/\.(?:db|sqlite3?|mmap3)$/i), 'database', 'of the client']].filter(([list]) => list.length);
  const searchFor = (name) => button('where does this name stand?', () => {
    page('search').value = name;
    page('search').onkeydown({key: 'Enter'});
    page('hits').scrollIntoView();
  });
  const parts = [...people.map((name) => `data of ${quoted(name)}`),
    ...kinds.map(([list, noun]) => counted(list.length, noun)),
    addresses.length && counted(addresses.length, 'address')];
  const netcard = () => jumpTo(sections.find(({title}) => title === 'netcard'));
  page('sending').replaceChildren(make('details',
    make('summary', make('b', 'Before you send it: '), joined(parts, ' · ') || 'nothing personal was recognised'),
    make('ul', people.map((name) => make('li', `Data of ${quoted(name)}: ${counted(owned(name).length, 'file')}; `,
      searchFor(name))),
      kinds.map(([list, noun, why]) => make('li', `${counted(list.length, noun)} (${why}): `,
        addRows(make('span'), list, (entry) => make('span.count', place(archive, {entry})), 4))),
      addresses.length ? make('li', `${counted(addresses.length, 'address')} of this machine: `,
        button('netcard', netcard)) : '',
      make('li', 'Is your name in it, or that of your company? Ask the search.'))));
}
function ticketText({title, summary, findings}) {
  const lineText = ({text, note, place: {entry, line}}) =>
    `    ${joined([entry && shownName(entry.name) + (line ? `:${line}` : ''), note, shownName(text, 300)])}`;
  return [title, summary, '', ...findings.filter(({isClosed}) => !isClosed).flatMap(({kind, title: said, lines}) =>
    [`- ${kind && `${kind}: `}${visible(said)}`, ...lines.slice(0, 3).map(lineText)]), ''].join('\n');
}
async function copyForTicket(archive, {target}) {
  try {
    await navigator.clipboard.writeText(ticketText(archive));
    target.textContent = 'Copied';
  } catch {  // some browsers refuse it to a page from the disk
    const area = make('textarea', {rows: 12, 'aria-label': 'The text for a ticket', value: ticketText(archive)});
    target.after(area);
    area.select();
    target.textContent = document.execCommand('copy') ? 'Copied' : 'Copy this text:';
  }
}

// ---- Contents.
/** The documents' rows, filled in for these users; an entry belongs to the row with the longest matching path. */
function layoutRows(entries, users) {
  const rows = TABLES.layout.flatMap((row) => (JSON.stringify(row).includes('USER') ? users :
    users.slice(0, 1)).map((user) => {
    const filled = (text, told = (name) => name) =>
      text.replaceAll('USER', () => told(user)).replaceAll('FIRST', () => told(users[0]));
    return {...row, path: filled(row.path), from: filled(row.from, inCode),
      sources: row.sources.map((path) => filled(path)), found: []};
  }));
  const longestFirst = [...rows].sort((a, b) => b.path.length - a.path.length);
  for (const entry of entries)
    longestFirst.find(({path}) => path.endsWith('/') ? entry.name.startsWith(path) :
      entry.name === path)?.found.push(entry);
  return rows;
}
const mentions = (message, path) =>
  [` ${path} `, ` ${path}/`, `(${path})`, `(${path}/`].some((text) => ` ${message} `.includes(text));
function stateOf({path, found, sources, patterns, why}, {run: {records, told}, log}) {
  const size = sum(found, 'size');
  if (found.length) return `${counted(found.length, 'file')}, ${size ? bytesText(size) : 'empty'}`;
  if (records.some(({message}) => message.startsWith(path))) return 'there';
  const about = told.filter(({message}) => sources.some((source) => mentions(message, source)));
  const reason = about.find(isTrouble) ?? records.find(({message}) => patterns.some((parts) => fits(parts, message)));
  const refused = about.filter(({message}) => message.endsWith(' will ignore')).length;
  return make('span.absent', 'missing: ', reason ? make('code', visible(reason.message.slice(0, 500))) : refused ?
    `${counted(refused, 'file')} of kinds that are not collected` :
    log && sources.length ? 'nothing was in that folder' : rich(why));
}
/** Shows the items of one folder: the list has [entry, parts of its name] of all entries below it. */
function treeRows(archive, list, depth, bySize) {
  const items = new Map();
  for (const [entry, parts] of list) {
    const isFile = parts.length === depth + 1, name = parts[depth] + (isFile ? '' : '/'), key = isFile ? entry : name;
    if (!items.has(key)) items.set(key, {name, entry: isFile && entry, inner: [], size: 0});
    items.get(key).inner.push([entry, parts]);
    items.get(key).size += entry.size;
  }
  const all = [...items.values()].sort((a, b) => bySize ? b.size - a.size : a.name < b.name ? -1 : 1);
  const largest = all.reduce((most, {size}) => Math.max(most, size), 1);
  return addRows(make('div.tree'), all, ({name, entry, inner, size}) => {
    const text = shownName(name), row = make('span.row',
      entry ? [button(text, () => view(archive, entry)), saver(archive, entry)] :
      make('span', text), barOf(size / largest), make('span.size', bytesText(size)));
    if (entry) return row;
    const fillIn = () => folder.children.length > 1 || folder.append(treeRows(archive, inner, depth + 1, bySize));
    const folder = make('details', {toggle: fillIn}, make('summary', row));
    return Object.assign(folder, {folderName: name, fillIn});
  });
}
/** Opens a folder in the tree, and those above it. */
function openFolder(path) {
  let level = page('contents').querySelector('.tree');
  for (const name of path.match(/[^/]*\//g)) {
    const folder = [...level.children].find(({folderName}) => folderName === name);
    if (!folder) return;
    folder.fillIn();
    folder.open = true;
    folder.scrollIntoView();
    level = folder.querySelector('.tree');
  }
}
function showContents(archive) {
  const {entries, users} = archive, tree = make('div'), list = entries.map((entry) => [entry, entry.name.split('/')]);
  for (const [, parts] of list) if (parts.length > MOST_DEEP) parts.push(parts.splice(MOST_DEEP - 1).join('/'));
  const order = make('input', {type: 'checkbox', change: () => show()});
  const show = () => tree.replaceChildren(treeRows(archive, list, 0, order.checked));
  const opener = ({path, found: [entry]}) => !entry ? shownName(path) : entry.name === path ? place(archive, {entry}) :
    button(shownName(path), () => openFolder(path));
  show();
  fill('contents', 'What is in it', table(['In the archive', 'From', 'There'],
    layoutRows(entries, users).map((row) => [opener(row), rich(row.from), stateOf(row, archive)])),
  make('h3', `All ${counted(entries.length, 'file')}`), make('label', order, ' largest first'), tree);
}

// ---- The machine.
/** The addresses of the network cards but for the loopback: each with the card's name. */
function addressesOf(sections) {
  let card = '';
  return (sections.find(({title}) => title === 'netcard')?.lines ?? []).flatMap((line) => {
    if (/^\S/.test(line)) card = /^(?:\d{1,9}: )?([\w.-]{0,40})/.exec(line)[1];
    const address = /^inet6? (\S{1,60})/.exec(line.trimStart())?.[1];
    return address && !/^lo0?$/.test(card) ? [`${card} ${address}`] : [];
  });
}
const SYSTEM = /<key>Product(?:Name|Version)<\/key>\s{0,99}<string>([^<\n]{1,60})|^PRETTY_NAME="?([^"\n]{1,60})/gm;
function systemOf(sections) {
  const text = sections.find(({title}) => title === 'os info')?.lines.join('\n') ?? '';
  return [...text.matchAll(SYSTEM)].map(([, mac, other]) => mac ?? other);
}
const jumpTo = ({body}) => { body.open = true; body.scrollIntoView(); };
/** A section that shows its lines when it is opened. */
function showSection(archive, section, prefix) {
  const {title, lines, line, entry} = section, pre = make('pre', {tabindex: 0});
  const show = () => pre.firstChild || addRows(pre, lines.map((text, i) => [line + i, text]),
    (row) => lineRow(row, '', (number) => view(archive, entry, {line: number})));
  section.body = make('details', {toggle: show}, make('summary', `${prefix}${shownName(title)} `,
    make('span.faint', lines.length ? counted(lines.length, 'line') : 'empty')), pre);
  return section.body;
}
function showMachine(archive) {
  const {sections, modules} = archive, byTitle = new Map(sections.map((section) => [section.title, section]));
  const linesOf = (title, like = ALL) => (byTitle.get(title)?.lines ?? []).filter((line) => like.test(line) &&
    !/\bgrep\b/.test(line));
  const facts = [['System', 'os info', systemOf(sections)], ['Addresses', 'netcard', addressesOf(sections)],
    ['Tunnel interface utun7', 'route info', linesOf('route info', /^(?:\d+: )?utun7:/)],
    ['Routes through utun7', 'route info', linesOf('route info', /^(?!\s|\d+: |utun7:).*\butun7\b/)],
    ['Name servers', 'resolv dns info', linesOf('resolv dns info', /^nameserver/).map((line) => line.slice(10).trim())],
    ['Processes of the client', 'obrela process info'], ['Processes of FernGateway', 'ferngateway process info'],
    ['Processes of the management agent', 'UEM processes'], ['Launch jobs', 'plist info'], ['SIP', 'SIP state'],
    ['Kernel extensions', 'KEXT state', linesOf('KEXT state', /quelmar|brela/i)],
    ['System extensions', 'SEXT state', linesOf('SEXT state', /quelmar|brela/i)]];
  const shown = (title, values) => !byTitle.has(title) ? 'not in the archive' :
    !values.length ? make('b.warning', 'none') :
    addRows(make('div'), values, (value) => make('div', visible(value.slice(0, 200))), 4);
  fill('machine', 'The machine', table(['What', 'Found'], facts.map(([name, title, values = linesOf(title)]) => [
    byTitle.has(title) ? button(name, () => jumpTo(byTitle.get(title))) : name, shown(title, values)])),
  make('h3', 'All sections'), make('div', sections.map((section) => showSection(archive, section, '')),
    modules.map((section) => showSection(archive, section, 'tunnel: '))));
}

// ---- Opening an archive.
/** The users whose files are in the archive: first the one at the screen, if there was one; then root. */
function usersOf({entries, run: {records}}) {
  const found = [...entries.map(({name}) => /^(?:logs\/uem_|database\/|nsdbase\/)([^/]+)\//.exec(name)?.[1]),
    ...records.map(({message}) => /\/Users\/([^/]+)\/Library\//.exec(message)?.[1])];
  const isNobody = records.some(({message}) => message === 'getCurrentLoginUser failed.');
  return [...new Set([!isNobody && found.find((user) => user && !/^(root|share_user)$/.test(user)) || 'root', 'root'])];
}
function summaryOf({file, entries, run: {records}, users, crashes, sections}) {
  const version = /_([\d.]{1,30})_\d{14}/.exec(file.name)?.[1],
    client = crashes.find((crash) => crash.isClient && crash.version);
  const took = (records.at(-1)?.time - records[0]?.time) / 1000,
    stuck = spansOf({records}).filter(({isEnded}) => !isEnded);
  const people = users.map((user) => user === 'root' ? user : quoted(user)).join(' and ');
  return joined([`Collected ${records[0]?.stamp.slice(0, 19) ?? 'at an unknown time'} for ${people}`, client ?
    `client ${shownName(client.version, 40)} (by a crash report)` : version &&
      `${version} in the name is not the client’s version`,
  shownName(systemOf(sections).join(' ') || 'unknown system', 60),
  `${bytesText(file.size)}, ${counted(entries.length, 'file')}, ${bytesText(sum(entries, 'size'))} unpacked`,
  took > 0 && `collecting took ${took.toFixed(1)} s`, stuck.length &&
    `not ended: ${stuck.map(({name}) => name).join(', ')}`], ' · ');
}
/** When the archive was made: as its log says, or else its name, or else the date of the file. */
function endOf({run, file}) {
  const digits = /_(\d{4})(\d\d)(\d\d)(\d\d)(\d\d)(\d\d)\.zip/.exec(file.name)?.slice(1).map(Number);
  return run.records[0]?.time || (digits ? Date.UTC(digits[0], digits[1] - 1, ...digits.slice(2)) :
    file.lastModified - new Date(file.lastModified).getTimezoneOffset() * HOUR / 60);
}
/** Reads what is needed to show the first screen. */
async function readArchive(file) {
  const archive = {file, sections: [], modules: [], crashes: [], title: shownName(file.name, 200),
    ...await readDirectory(file)};
  const {entries, notes} = archive, attempt = async (name, task) => {
    try { await task(); } catch (error) { notes.push([name, sentence(error)]); }
  };
  const read = async (entry, ...limits) => {
    const found = await readText(file, entry, ...limits);
    if (found.fault) notes.push([entry.name, found.fault]);
    return found;
  };
  const log = entries.filter(({name}) => name === OWN_LOG).at(-1) ??
    entries.find(({name}) => /^logs\/[^/]+\/LogColltionTool\.log$/.test(name));
  const {text, line} = log ? await read(log, OWN_LOG_CHARS, OWN_LOG_BYTES) : {text: '', line: 1},
    run = readRun(text, line);
  if (log?.name !== OWN_LOG) notes.push([log?.name ?? '',
    `It holds no ${OWN_LOG}${log ? '; this one is read for it' : ''}.`]);
  if (log && !run.runs) notes.push(['', `No run begins in ${OWN_LOG}; what it holds is shown all the same.`]);
  Object.assign(archive, {log, run, clock: {end: endOf({run, file})}, users: usersOf({entries, run})});
  archive.state = newState(archive.clock);
  const isReport = ({name}) => /^(system_info|logs\/uem_[^/]+\/system_state)\.log$/.test(name);
  for (const entry of entries.filter(isReport).slice(-2)) await attempt(entry.name, async () => {
    const report = await read(entry, REPORT_CHARS, REPORT_CHARS);
    archive.sections.push(...sectionsOf(report.text, entry));
  });
  await attempt('xtunnel dump', () => { archive.modules = modulesOf(archive, TABLES.modules); });
  await attempt('crash reports', async () => { archive.crashes = await readCrashes(file, entries, archive.clock); });
  archive.summary = summaryOf(archive);
  return archive;
}
/** Shows parts; one that fails says so in its place. */
function showParts(archive, parts) {
  for (const [id, show] of Object.entries(parts)) {
    try { show(archive); } catch (error) {
      page(id).replaceChildren(make('p.warning', `This part cannot be shown: ${sentence(error)}`));
    }
  }
}
function showAnswers(archive) {
  archive.findings = findAll(archive);
  showParts(archive, {findings: showFindings, complaints: showComplaints, timeline: showTimeline});
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
    const archive = await readArchive(file), {entries, notes, state, summary} = archive, total = logsOf(entries).length;
    if (!isCurrent()) return;
    dataset.logs = 'reading';
    showParts(archive, {machine: showMachine, contents: showContents, sending: showSending});
    showAnswers(archive);
    page('notes').append(...notes.map(([of, text]) => make('li', of ? `${quoted(of)}: ${text}` : text)));
    say('shown', summary, '');
    [page('copy').onclick, page('copy').textContent] = [(event) => copyForTicket(archive, event), 'Copy for a ticket'];
    startSearch(archive);
    await readLogs(file, entries, state, isCurrent, ({logs}) => {
      page('reading').textContent = `Reading the logs: ${logs.length} of ${total} …`;
    });
    if (!isCurrent()) return;
    [dataset.logs, page('reading').textContent] = ['read', ''];
    showAnswers(archive);
  } catch (error) { if (isCurrent()) say('failed', '', `It cannot be shown. ${sentence(error)}`); }
}
function start() {
  const chooser = document.querySelector('input[type=file]'), openFirst = ([file]) => { if (file) open(file); };
  chooser.addEventListener('click', () => { chooser.value = ''; });  // so that the same file can be chosen again
  chooser.addEventListener('change', () => openFirst(chooser.files));
  document.addEventListener('dragover', (event) => event.preventDefault());
  document.addEventListener('drop', (event) => { event.preventDefault(); openFirst(event.dataTransfer.files); });
  page('failure').textContent = globalThis.DecompressionStream ? '' :
    'This browser cannot unpack archives: take Safari 16.4, Chrome 80, Firefox 113 or a newer one.';
}
start();

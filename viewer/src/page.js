// The page: its elements, its parts, and opening an archive. Content of an archive is always inserted as text.
const MOST_ROWS = 500, MOST_DEEP = 64, MOST_EVIDENCE = 6;  // rows shown at once, levels of folders, lines of a finding
const OWN_LOG_CHARS = 24 * MIB, OWN_LOG_BYTES = 192 * MIB;  // kept: its end; read at most to reach that
const REPORT_CHARS = 8 * MIB;
const page = (id) => document.getElementById(id), TABLES = JSON.parse(page('tables').textContent);

/** Makes an element from its tag and classes, `p.faint`; the other arguments are attributes, listeners and children. */
function make(name, ...rest) {
  const [tag, ...classes] = name.split('.'), element = document.createElement(tag);
  if (classes.length) element.className = classes.join(' ');
  for (const part of rest.flat()) {
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
  return make('div.wide', make('table', make('thead', make('tr', head.map((title) => make('th', {scope: 'col'}, title)))),
    make('tbody', rows.map(([first, ...cells]) => make('tr', make('th', {scope: 'row'}, first), cells.map((cell) => make('td', cell)))))));
}
const fill = (id, title, ...children) => page(id).replaceChildren(make('h2', title), make('div', ...children));
/** Formats a cell of a document's table: text between backticks becomes code, or what `onCode` makes of it. */
function rich(cell, onCode = (code) => make('code', code)) {
  return cell.replace(/\[([^\]]*)\]\([^)]*\)|\*\*/g, '$1').split('`').map((part, i) => i % 2 ? onCode(part) : part);
}
/** A name for a cell between backticks. */
const inCode = (name) => shownName(name.replaceAll('`', '\''), 32);
/** Adds a row for each item to a parent: the first `most` now, more at each click on a button. */
function addRows(parent, items, toRow, most = MOST_ROWS) {
  parent.append(...items.slice(0, most).map(toRow));
  if (items.length <= most) return parent;
  const more = button(`${items.length - most} more …`, () => { holder.remove(); addRows(parent, items.slice(most), toRow); });
  const holder = parent.tagName === 'TBODY' ? make('tr', make('td', {colspan: 9}, more)) : make(parent.matches('ul, ol') ? 'li' : 'span', more);
  return parent.append(holder), parent;
}
/** A button with a file's name, and a line's number, that opens it there. */
function place(archive, {entry, line = 0, word = ''}) {
  const name = shownName(entry.name);
  return button(line ? `${name}:${line}` : name, () => view(archive, entry, {line, word}));
}

// ---- Findings.
function showFinding(archive, {kind, title, lines, todo, isClosed, isRich}) {
  const list = addRows(make('ul'), lines, ({text, note, place: where}) => make('li', where.entry ? [place(archive, where), ' '] : '',
    note ? make('span.note', note, ' ') : '', make('code', visible(text))), isClosed ? MOST_ROWS : MOST_EVIDENCE);
  const head = isRich ? rich(title) : visible(title), name = `div.finding${kind && `.${kind}`}`;
  if (isClosed) return make(name, make('details', make('summary', head), list));
  return make(name, make('h3', head), todo ? make('p', 'What to do: ', rich(todo)) : '', list);
}
/** All findings: the errors of the logs as far as they are read. A source of findings that fails takes no other with it. */
function findAll(archive) {
  const {entries, sections, modules, crashes, clock, run, log, state} = archive, found = [];
  const attempt = (task) => { try { found.push(...task()); } catch (error) {
    found.push({kind: 'warning', title: `A part of the findings cannot be shown: ${sentence(error)}`, lines: []});
  } };
  const hasAgent = entries.some(({name}) => /^logs\/uem_[^/]+\/(?!DiagnosticReports\/|system_state)/.test(name));
  attempt(() => errorFindings(state));
  attempt(() => crashFindings(crashes, entries.filter(({name}) => /\.dmp$/i.test(name)), clock));
  attempt(() => stateFindings(sections, modules, hasAgent));
  const hasFailed = found.some(({kind, isCrash, about}) => kind === 'error' && (isCrash || /process|plist/.test(about)));
  attempt(() => recordFindings({run, log}, TABLES.troubleshooting, hasFailed));
  return sorted(found);
}
function showFindings(archive) {
  const {findings, run, log, state} = archive, isRead = document.body.dataset.logs === 'read';
  const said = !log ? 'No log tells what failed while collecting.' : !run.records.length ? 'No record tells what failed while collecting.' :
    run.records.some(isTrouble) ? '' : 'Nothing failed while collecting.';
  const open = findings.filter(({isClosed}) => !isClosed), bad = open.some(({kind}) => kind);
  fill('findings', 'What to look at', open.map((finding) => showFinding(archive, finding)),
    isRead && !bad ? make('p', `No new error in ${counted(state.logs.length, 'log')}, no crash of the client, no fault in its state.`) : '',
    findings.filter(({isClosed}) => isClosed).map((finding) => showFinding(archive, finding)),
    make('p', said, ' ', log ? button(`The ${counted(run.records.length, 'record')} of the last run`,
      () => view(archive, log, {line: run.records[0]?.line ?? 0})) : '', log ? ` (runs in this log: ${run.runs})` : ''));
}

// ---- From the complaint to the file.
/** What a name in the guide opens: a file, a folder, a section of a report; undefined when that is not there. */
function targetOf({entries, users, sections, modules}, code) {
  const section = [...sections, ...modules].find(({title}) => title === code);
  if (section) return () => jumpTo(section);
  for (const user of code.includes('USER') ? users : users.slice(0, 1)) {
    const path = code.replaceAll('USER', () => user).replaceAll('FIRST', () => users[0]);
    const inside = path.endsWith('/') && entries.some(({name}) => name.startsWith(path));
    if (inside) return () => openFolder(path);
    const entry = entries.find(({name}) => name === path);
    if (entry) return (archive) => view(archive, entry);
  }
  return undefined;
}
function guideCode(archive, code) {
  const isNamed = /^[\w-]+(?:\/|\.\w+$)/.test(code) || TABLES.modules.includes(code) || TABLES.sections.includes(code);
  const target = targetOf(archive, code), [user, first] = [archive.users.join(' or '), archive.users[0]];
  const text = shownName(code.replaceAll('USER', () => user).replaceAll('FIRST', () => first), 200);
  if (target) return button(text, () => target(archive), {class: 'code'});
  return make('code', isNamed ? {class: 'absent', title: 'not in this archive'} : {}, text);
}
/** The findings that bear on a complaint: its steps name where they come from, or a word of theirs. */
function bearing(steps, findings) {
  const codes = steps.flatMap((step) => step.match(/`[^`]+`/g) ?? []).map((code) => code.slice(1, -1));
  const words = codes.filter((code) => /^[\w -]{3,}$/.test(code)).map((code) => code.toLowerCase());
  return findings.filter(({isClosed, about = [], words: said = []}) => !isClosed && (about.some((name) => codes.includes(name)) ||
    said.some((text) => words.some((word) => text.toLowerCase().includes(word)))));
}
function showComplaints(archive) {
  const wasOpen = new Set([...page('complaints').querySelectorAll('details[open] > summary')].map(({textContent}) => textContent));
  fill('complaints', 'From the complaint to the file', TABLES.complaints.map(([title, steps]) => {
    const found = bearing(steps, archive.findings), name = `“${title}”`;
    const jump = (finding) => () => [...page('findings').querySelectorAll('.finding h3')].find((head) =>
      head.textContent === make('p', finding.isRich ? rich(finding.title) : visible(finding.title)).textContent)?.scrollIntoView();
    return make('details', wasOpen.has(name) ? {open: ''} : {}, make('summary', name), found.length ? make('div', 'Found here: ',
      make('ul', found.map((finding) => make('li', button(visible(finding.title.replaceAll('`', '')), jump(finding)))))) : '',
    make('ol', steps.map((step) => make('li', rich(step, (code) => guideCode(archive, code))))));
  }));
}

// ---- Before it is sent, and for a ticket.
function showSending(archive) {
  const {entries, sections, crashes, users} = archive, addresses = addressesOf(sections);
  const owners = [...new Set(entries.map(({name}) => /^(?:logs\/uem_|logs\/(?!uem_|OKVU\/)|database\/|nsdbase\/)([^/]+)\//.exec(name)?.[1]))]
    .filter((name) => name && !/^(root|share_user|logs)$/.test(name));
  const of = (name) => entries.filter((entry) => entry.name.split('/').some((part) => part === name || part === `uem_${name}`));
  const files = (like) => entries.filter(({name}) => like.test(name)), others = crashes.filter(({isClient}) => !isClient);
  const people = [...new Set([...users.filter((user) => user !== 'root'), ...owners])];
  const kinds = [[files(/\.p?cap(?:ng)?$/i), 'packet capture', 'what was sent over the network, maybe passwords'],
    [others.map(({entry}) => entry), 'crash report', 'of other makers’ programs'],
    [files(/\.(?:db|sqlite3?|mmap3)$/i), 'database', 'of the client, not readable here']];
  const parts = [...people.map((name) => `data of ${quoted(name)}`), ...kinds.filter(([list]) => list.length)
    .map(([list, noun]) => counted(list.length, noun)), addresses.length && counted(addresses.length, 'address')].filter((part) => part);
  const searchFor = (name) => button('where does this name stand?', () => {
    page('search').value = name;
    page('search').onkeydown({key: 'Enter'});
    page('hits').scrollIntoView();
  });
  page('sending').replaceChildren(make('details', make('summary', make('b', 'Before you send it: '), parts.join(' · ') || 'nothing personal was recognised'),
    make('ul', people.map((name) => make('li', `Data of ${quoted(name)}: ${counted(of(name).length, 'file')}; `, searchFor(name))),
      kinds.filter(([list]) => list.length).map(([list, noun, why]) => make('li', `${counted(list.length, noun)} (${why}): `,
        addRows(make('span'), list, (entry) => make('span.count', place(archive, {entry}), ' '), 4))),
      addresses.length ? make('li', `${counted(addresses.length, 'address')} of this machine: `, button('netcard', () =>
        jumpTo(sections.find(({title}) => title === 'netcard')))) : '', make('li', 'Is your name in it, or that of your company? Ask the search.'))));
}
function ticketText({title, summary, findings}) {
  const lines = findings.filter(({isClosed}) => !isClosed).flatMap(({kind, title: said, lines: list}) => [
    `- ${kind ? `${kind}: ` : ''}${visible(said)}`, ...list.slice(0, 3).map(({text, note = '', place: {entry, line}}) =>
      `    ${entry ? shownName(entry.name) : ''}${line ? `:${line}` : ''} ${note} ${shownName(text, 300)}`.trimEnd())]);
  return [title, summary, '', 'Findings:', ...lines, ''].join('\n');
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
  const rows = TABLES.layout.flatMap((row) => (JSON.stringify(row).includes('USER') ? users : users.slice(0, 1)).map((user) => {
    const filled = (text) => text.replaceAll('USER', () => user).replaceAll('FIRST', () => users[0]);
    const told = row.from.replaceAll('USER', () => inCode(user)).replaceAll('FIRST', () => inCode(users[0]));
    return {...row, path: filled(row.path), from: told, sources: row.sources.map(filled), found: []};
  }));
  const longestFirst = [...rows].sort((a, b) => b.path.length - a.path.length);
  for (const entry of entries)
    longestFirst.find(({path}) => path.endsWith('/') ? entry.name.startsWith(path) : entry.name === path)?.found.push(entry);
  return rows;
}
const mentions = (message, path) => [` ${path} `, ` ${path}/`, `(${path})`, `(${path}/`].some((text) => ` ${message} `.includes(text));
function stateOf({path, found, sources, patterns, why}, {run: {records, told}, log}) {
  if (found.length) return `${counted(found.length, 'file')}, ${sum(found, 'size') ? bytesText(sum(found, 'size')) : 'empty'}`;
  if (records.some(({message}) => message.startsWith(path))) return 'there';
  const about = told.filter(({message}) => sources.some((source) => mentions(message, source)));
  const reason = about.find(isTrouble) ?? records.find(({message}) => patterns.some((parts) => fits(parts, message)));
  const refused = about.filter(({message}) => message.endsWith(' will ignore')).length;
  return make('span.absent', 'missing: ', reason ? make('code', visible(reason.message.slice(0, 500))) : refused ?
    `${counted(refused, 'file')} of kinds that are not collected` : log && sources.length ? 'nothing was in that folder' : rich(why));
}
/** Shows the items of one folder: the list has [entry, parts of its name] of all entries below it, `path` is its name. */
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
    const bar = make('span.bar'), text = shownName(name);
    const row = make('span.row', entry ? [button(text, () => view(archive, entry)), saver(archive, entry)] : make('span', text),
      make('span.share', bar), make('span.size', bytesText(size)));
    bar.style.width = `${100 * size / largest}%`;
    if (entry) return row;
    const folder = make('details', make('summary', row));
    folder.fillIn = () => folder.children.length > 1 || folder.append(treeRows(archive, inner, depth + 1, bySize));
    folder.addEventListener('toggle', folder.fillIn);
    return Object.assign(folder, {folderName: name});
  });
}
/** Opens a folder in the tree, and those above it. */
function openFolder(path) {
  let level = page('contents').querySelector('.tree');
  for (const name of path.match(/[^/]*\//g)) {
    const folder = [...level.children].find(({folderName}) => folderName === name);
    if (!folder) break;
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
  show();
  fill('contents', 'What is in it', table(['In the archive', 'From', 'There'], layoutRows(entries, users).map((row) => [
    row.found[0]?.name === row.path ? place(archive, {entry: row.found[0]}) : row.found.length && row.path.endsWith('/') ?
      button(shownName(row.path), () => openFolder(row.path)) : shownName(row.path), rich(row.from), stateOf(row, archive)])),
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
const jumpTo = ({body}) => { body.open = true; body.scrollIntoView(); };
const systemOf = (lines) => lines.join('\n').match(/<key>Product(?:Name|Version)<\/key>\s{0,99}<string>[^<\n]{1,60}|^PRETTY_NAME="?[^"\n]{1,60}/gm)
  ?.map((text) => text.replace(/.*[>="]/s, '')) ?? [];
function showMachine(archive) {
  const {sections, modules} = archive, byTitle = new Map(sections.map((section) => [section.title, section]));
  const linesOf = (title, like = ALL) => (byTitle.get(title)?.lines ?? []).filter((line) => like.test(line) && !/\bgrep\b/.test(line));
  const facts = [['System', 'os info', systemOf(linesOf('os info'))], ['Addresses', 'netcard', addressesOf(sections)],
    ['Tunnel interface utun7', 'route info', linesOf('route info', /^(?:\d+: )?utun7:/)],
    ['Routes through utun7', 'route info', linesOf('route info', /^(?!\s|\d+: |utun7:).*\butun7\b/)],
    ['Name servers', 'resolv dns info', linesOf('resolv dns info', /^nameserver/).map((line) => line.slice(10).trim())],
    ['Processes of the client', 'obrela process info'], ['Processes of FernGateway', 'ferngateway process info'],
    ['Processes of the management agent', 'UEM processes'], ['Launch jobs', 'plist info'], ['SIP', 'SIP state'],
    ['Kernel extensions', 'KEXT state', linesOf('KEXT state', /quelmar|brela/i)],
    ['System extensions', 'SEXT state', linesOf('SEXT state', /quelmar|brela/i)]];
  for (const section of [...sections, ...modules]) {
    const numbered = () => section.lines.map((text, i) => lineRow([section.line + i, text], '', (line) => view(archive, section.entry, {line})));
    const pre = make('pre', {tabindex: 0}), count = section.lines.length;
    const show = () => pre.childElementCount || addRows(pre, numbered(), (row) => row);
    section.body = make('details', {toggle: show}, make('summary', `${modules.includes(section) ? 'tunnel: ' : ''}${shownName(section.title)} `,
      make('span.faint', count ? counted(count, 'line') : 'empty')), pre);
  }
  fill('machine', 'The machine', table(['What', 'Found'], facts.map(([name, title, values = linesOf(title)]) => [
    byTitle.has(title) ? button(name, () => jumpTo(byTitle.get(title))) : name, !byTitle.has(title) ? 'not in the archive' :
      !values.length ? make('b.warning', 'none') : addRows(make('div'), values, (value) => make('div', visible(value.slice(0, 200))), 4)])),
  make('h3', 'All sections'), addRows(make('div'), [...sections, ...modules], ({body}) => body));
}

// ---- Opening an archive.
/** The users whose files are in the archive: first the one at the screen, if there was one; then root. */
function usersOf({entries, run}) {
  const found = [...entries.map(({name}) => /^(?:logs\/uem_|database\/|nsdbase\/)([^/]+)\//.exec(name)?.[1]),
    ...run.records.map(({message}) => /\/Users\/([^/]+)\/Library\//.exec(message)?.[1])]
    .filter((user) => user && !/^(root|share_user)$/.test(user));
  const isNobody = run.records.some(({message}) => message === 'getCurrentLoginUser failed.');
  return [...new Set([isNobody ? 'root' : found[0] ?? 'root', 'root'])];
}
function summaryOf({file, entries, run: {records}, users, crashes, sections}) {
  const version = /_([\d.]{1,30})_\d{14}/.exec(file.name)?.[1], client = crashes.find((crash) => crash.isClient && crash.version);
  const took = (records.at(-1)?.time - records[0]?.time) / 1000, stuck = spansOf({records}).filter(({isEnded}) => !isEnded);
  const system = systemOf(sections.find(({title}) => title === 'os info')?.lines ?? []).map((text) => shownName(text, 40)).join(' ');
  const people = users.map((user) => user === 'root' ? user : quoted(user)).join(' and ');
  return [`Collected ${records[0]?.stamp.slice(0, 19) ?? 'at an unknown time'}${records.length || users.length > 1 ? ` for ${people}` : ''}`,
    client ? `client ${shownName(client.version, 40)} (by a crash report)` : version && `${version} in the name is not the client’s version`, system,
    `${bytesText(file.size)}, ${counted(entries.length, 'file')}, ${bytesText(sum(entries, 'size'))} unpacked`,
    took > 0 && `collecting took ${took.toFixed(1)} s`, stuck.length && `not ended: ${stuck.map(({name}) => name).join(', ')}`]
    .filter((part) => part).join(' · ');
}
/** When the archive was made: as its log says, or else its name, or else the date of the file. */
function clockOf({run, file}) {
  const digits = /_(\d{4})(\d\d)(\d\d)(\d\d)(\d\d)(\d\d)\.zip/.exec(file.name)?.slice(1).map(Number);
  const named = digits && Date.UTC(digits[0], digits[1] - 1, ...digits.slice(2));
  return {end: run.records[0]?.time || named || file.lastModified - new Date(file.lastModified).getTimezoneOffset() * HOUR / 60};
}
/** Reads what is needed to show the first screen. */
async function readArchive(file) {
  const archive = {file, ...await readDirectory(file)}, {entries, notes} = archive;
  const log = entries.filter(({name}) => name === OWN_LOG).at(-1) ?? entries.find(({name}) => /^logs\/[^/]+\/LogColltionTool\.log$/.test(name));
  const tell = (entry, {fault}) => fault && notes.push([entry.name, fault]);
  const read = log ? await readText(file, log, OWN_LOG_CHARS, OWN_LOG_BYTES) : {text: '', line: 1, fault: ''}, run = readRun(read.text, read.line);
  if (log?.name !== OWN_LOG) notes.push(log ? [log.name, `is read since there is no ${OWN_LOG}; it ends early.`] : ['', `It holds no ${OWN_LOG}.`]);
  if (log && !run.runs) notes.push(['', `No run begins in ${OWN_LOG}; what it holds is shown all the same.`]);
  if (log) tell(log, read);
  Object.assign(archive, {log, run, sections: [], modules: [], crashes: [], findings: [], title: shownName(file.name, 200)});
  archive.clock = clockOf(archive);
  archive.state = newState(archive.clock);
  archive.users = usersOf(archive);
  const attempt = async (name, task) => { try { await task(); } catch (error) { notes.push([name, sentence(error)]); } };
  for (const entry of entries.filter(({name}) => /^(system_info|logs\/uem_[^/]+\/system_state)\.log$/.test(name)).slice(-2)) {
    await attempt(entry.name, async () => {
      const report = await readText(file, entry, REPORT_CHARS, REPORT_CHARS);
      tell(entry, report);
      archive.sections.push(...sectionsOf(report.text, entry));
    });
  }
  await attempt('xtunnel dump', () => { archive.modules = modulesOf(archive, TABLES.modules); });
  await attempt('crash reports', async () => { archive.crashes = await readCrashes(file, entries, archive.clock); });
  return archive;
}
/** Shows a part; one that fails says so in its place. */
function showPart(id, show, archive) {
  try { show(archive); } catch (error) { page(id).replaceChildren(make('p.warning', `This part cannot be shown: ${sentence(error)}`)); }
}
function showAnswers(archive) {
  archive.findings = findAll(archive);
  showPart('findings', showFindings, archive);
  showPart('complaints', showComplaints, archive);
  showPart('timeline', showTimeline, archive);
}
let turn = 0;
async function open(file) {
  const mine = ++turn, isCurrent = () => mine === turn, {dataset} = document.body, name = shownName(file.name, 200);
  const show = (state, summary, failure) => {
    [dataset.state, page('summary').textContent, page('failure').textContent] = [state, summary, failure];
  };
  show('reading', 'Reading …', '');
  dataset.logs = '';
  [page('title').textContent, document.title] = [name, `${name} – log archive`];
  page('viewer').close();
  page('notes').replaceChildren();
  let archive;
  try {
    archive = await readArchive(file);
  } catch (error) {
    return isCurrent() && show('failed', '', `It cannot be shown. ${sentence(error)}`);
  }
  if (!isCurrent()) return undefined;
  dataset.logs = 'reading';
  archive.summary = summaryOf(archive);
  for (const [id, part] of [['machine', showMachine], ['contents', showContents], ['sending', showSending]]) showPart(id, part, archive);
  showAnswers(archive);
  page('notes').append(...archive.notes.map(([of, text]) => make('li', of ? `${quoted(of)}: ${text}` : text)));
  show('shown', archive.summary, '');
  page('copy').onclick = (event) => copyForTicket(archive, event);
  page('copy').textContent = 'Copy for a ticket';
  startSearch(archive);
  const total = logsOf(archive.entries).length;
  await readLogs(file, archive.entries, archive.state, isCurrent, ({logs}) => {
    page('reading').textContent = `Reading the logs: ${logs.length} of ${total} …`;
  });
  if (!isCurrent()) return undefined;
  dataset.logs = 'read';
  page('reading').textContent = '';
  return showAnswers(archive);
}
function start() {
  try {
    new DecompressionStream('gzip');
  } catch {
    page('failure').textContent = 'This browser cannot unpack archives: take Safari 16.4, Chrome 80, Firefox 113 or a newer one.';
    return;
  }
  const chooser = document.querySelector('input[type=file]');
  chooser.addEventListener('click', () => { chooser.value = ''; });  // so that the same file can be chosen again
  chooser.addEventListener('change', () => { if (chooser.files[0]) open(chooser.files[0]); });
  document.addEventListener('dragover', (event) => event.preventDefault());
  document.addEventListener('drop', (event) => {
    event.preventDefault();
    if (event.dataTransfer.files[0]) open(event.dataTransfer.files[0]);
  });
  page('failure').textContent = '';
}
start();

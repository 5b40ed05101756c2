// What is wrong: from the tool's own log, the reports, the crash reports and the groups of errors. Nothing knows the page.
// A finding is {kind, title, lines, todo, about}: kind is 'error', 'warning' or '', a line {text, note, place}, a place
// {entry, line}, and `about` has the names and words by which a complaint of the guide knows that it is concerned.
const REPORT_BYTES = 2 * MIB, MOST_REPORTS = 300;  // of a crash report, and how many of them are read
const MOST_QUOTED = 160;  // characters of an error in a title
const DAY = 24 * HOUR;
const CLIENT_PROGRAM = /obrela|quelmar|ferngateway|qmuem|okvu/i;
const TOOL_COMMAND = /\bgrep\b|oBrelaLog|LogCollectionTool/;
const SIGNALS = ['', 'HUP', 'INT', 'QUIT', 'ILL', 'TRAP', 'ABRT', 'EMT', 'FPE', 'KILL', 'BUS', 'SEGV', 'SYS', 'PIPE', 'ALRM', 'TERM'];

// ---- The tool's own log.
const isTrouble = ({level}) => /^(warning|error|critical)$/.test(level);
/** Parses the own log, whose first line has this number: the last run's records, and the number of runs. */
function readRun(log, line) {
  const starts = [...log.matchAll(/^\[[^\]\n]{1,40}\] \[info\] \[\d+\] \[LogCollectionTool:main:\d+\] Collection log start$/gm)];
  const from = starts.at(-1)?.index ?? 0, text = log.slice(from);
  const heads = [...text.matchAll(/^\[([-\d]{10} [:\d]{8}\.\d+)\] \[(\w+)\] \[\d+\] \[LogCollectionTool:\S{1,200}:\d+\] /gm)];
  let number = line + linesIn(log, 0, from), at = 0;
  const records = heads.map((head, i) => {
    [number, at] = [number + linesIn(text, at, head.index), head.index];
    return {stamp: head[1], level: head[2], time: Date.parse(`${head[1].replace(' ', 'T')}Z`) || 0, line: number,
      message: text.slice(head.index + head[0].length, heads[i + 1]?.index).replace(/\n$/, '')};
  });
  return {text, runs: starts.length, records, told: records.filter((r) => isTrouble(r) || r.message.endsWith(' will ignore'))};
}
/** Tells whether a text begins with the first of these parts and has the others after it, in that order. */
function fits(parts, text) {
  if (!text.startsWith(parts[0])) return false;
  let at = parts[0].length;
  return parts.slice(1).every((part) => {
    const found = text.indexOf(part, at);
    at = found + part.length;
    return found >= 0;
  });
}
/** Tells whether a record is normal: its row says that there is nothing to do, or it is about a missing folder that many
 * Macs do not have. Missing logs of the client are not normal, except root's. */
function isNormal({level, message}, row) {
  if (row.todo === 'nothing') return true;
  return level === 'warning' && / code:2 /.test(message) && /normal/.test(row.cause) &&
    !/^Source directory \/Users\/(?!root\/)[^/]*\/.*\/oBrela\/logs not exist/.test(message);
}
/** One line for all equal messages, with the time of the first one. */
function recordLines(records, entry) {
  const byMessage = new Map();
  for (const record of records) {
    const same = byMessage.get(record.message);
    if (same) ++same.count;
    else byMessage.set(record.message, {...record, count: 1});
  }
  return [...byMessage.values()].map(({stamp, level, message, count, line}) => ({place: {entry, line},
    text: message.slice(0, 2000), note: `${stamp.slice(11, 19)} ${level}${count > 1 ? ` ${count} times` : ''}`}));
}
/** What could not be collected. When the client is known to have failed, that the tunnel service did not answer follows
 * from it and needs no advice of its own. */
function recordFindings({run, log}, table, hasFailed) {
  const unknown = [], absent = [], groups = new Map();
  for (const record of run.records.filter(isTrouble)) {
    const row = table.find(({parts}) => fits(parts, record.message)), key = row && `${row.heading}\n${row.todo}`;
    if (!row) unknown.push(record);
    else if (isNormal(record, row)) absent.push(record);
    else if (groups.has(key)) groups.get(key).push([row, record]);
    else groups.set(key, [[row, record]]);
  }
  const kindOfAll = (records) => records.every(({level}) => level === 'warning') ? 'warning' : 'error';
  const found = [...groups.values()].map((pairs) => {
    const [{heading, todo}] = pairs[0], causes = [...new Set(pairs.map(([row]) => row.cause))].join('; ');
    const records = pairs.map(([, record]) => record), follows = hasFailed && /^The tunnel/.test(heading);
    return {isOfTool: true, kind: follows ? '' : kindOfAll(records), title: `${heading}: ${causes}`, isRich: true, about: ['xtunnel dump:'],
      todo: follows ? 'see above; the service did not run when the archive was made' : todo, lines: recordLines(records, log)};
  });
  if (unknown.length) found.unshift({isOfTool: true, kind: kindOfAll(unknown), title: 'The tool says what the documents do not explain',
    lines: recordLines(unknown, log)});
  if (absent.length) found.push({kind: '', isClosed: true, lines: recordLines(absent, log),
    title: `Normal: ${counted(absent.length, 'thing')} that this machine lacks`});
  return found;
}

// ---- The reports made of commands, and the tunnel's modules.
/** Splits a report at its banners: [{title, lines, entry, line}]. A section need not end in a line feed. */
function sectionsOf(report, entry) {
  const parts = report.split(/={34} ([^\n]{1,100}?) ={34}(?:\n|$)/), sections = [];
  let line = 1 + linesIn(parts[0]);
  for (let i = 1; i < parts.length; i += 2) {
    sections.push({title: parts[i], lines: parts[i + 1].trimEnd().split('\n').filter((text, n) => n || text), entry, line: line + 1});
    line += 1 + linesIn(parts[i + 1]);
  }
  return sections;
}
/** Splits the tunnel's dump in the own log into a section for each module; one section when it names none. */
function modulesOf({run, log}, modules) {
  const record = run.records.find(({message}) => message.startsWith('xtunnel dump:\n')), sections = new Map();
  if (!record) return [];
  const dump = record.message.slice(record.message.indexOf('\n') + 1), json = /^\s*[[{]/.test(dump) && parseJson(dump);
  const add = (title, line) => {
    if (!sections.has(title)) sections.set(title, {title, lines: [], entry: log, line});
    return sections.get(title).lines;
  };
  if (json && typeof json === 'object') {
    for (const [key, value] of Object.entries(json))
      add(String(value?.name ?? value?.module ?? key).slice(0, 100), record.line + 1).push(...printed(value).split('\n'));
    return [...sections.values()];
  }
  const named = new RegExp(`^[\\W\\d]{0,40}(?:(?:module|name)\\W{1,9})?(${modules.join('|')})(?!\\w)`);
  let title = 'dump';
  dump.split('\n').forEach((text, i) => {
    title = named.exec(text)?.[1] ?? title;
    add(title, record.line + 1 + i).push(text);
  });
  return [...sections.values()];
}
const NOTHING = '["\']?\\s?[:=]\\s?["\']?(?:\\d|none\\b|no\\b|false|null|nil|ok\\b|["\'])';
const BAD_STATE = new RegExp('(?<!\\b(?:0|no|not) )\\b(?:down|timed? ?-?out|fail(?:ed|ure|s)?|refused|servfail|unreachable|expired|error)\\b' +
  `(?!${NOTHING})|(?<!(?:err|errors?|failed|failures?|fault|timeouts?|reason|proxy)["']?\\s?[:=]\\s?["']?)\\bnone\\b`, 'i');
/** The lines of a section that are like this, as evidence. */
const evidence = (section, like) => section.lines.map((text, i) => ({text: text.slice(0, 500),
  place: {entry: section.entry, line: section.line + i}})).filter(({text}) => like.test(text));
const ALL = /\S/;
function signalName(status) {
  const signal = SIGNALS[status < 0 ? -status : status - 128];
  return signal ? `SIG${signal}` : `status ${status}`;
}
function jobFinding(section) {
  const jobs = evidence(section, ALL).map((line) => [line, /^(-|\d+)\s+(-?\d+)\s+(\S+)/.exec(line.text)]).filter(([, found]) => found);
  const bad = jobs.filter(([, [, pid, status]]) => pid === '-' || status !== '0');
  const told = ([, [, pid, status, name]]) => `${shownName(name, 60)} ${pid === '-' ? 'does not run' : 'runs again'}` +
    `${status === '0' ? '' : ` (${signalName(Number(status))})`}`;
  const isError = bad.some(([, [, pid, status]]) => pid === '-' && status !== '0');
  return bad.length && {kind: isError ? 'error' : 'warning', about: ['plist info'], lines: bad.map(([line]) => line),
    title: `Launch jobs: ${bad.slice(0, 3).map(told).join('; ')}${bad.length > 3 ? `; ${bad.length - 3} more` : ''}`};
}
/** What the reports tell of the machine's state. `hasAgent`: the management agent is installed. */
function stateFindings(sections, modules, hasAgent) {
  const found = [], byTitle = new Map(sections.map((section) => [section.title, section]));
  const tell = (title, kind, text, lines, ...about) => found.push({kind, title: text, lines, about: [title, ...about]});
  const here = ({lines, entry, line}) => [{text: lines[0]?.slice(0, 500) ?? '(an empty section)', place: {entry, line: lines.length ? line : line - 1}}];
  const look = (title, task) => { if (byTitle.has(title)) task(byTitle.get(title)); };
  look('plist info', (section) => { const jobs = jobFinding(section); if (jobs) found.push(jobs); });
  look('obrela process info', (section) => {
    if (!evidence(section, ALL).some(({text}) => !TOOL_COMMAND.test(text)))
      tell(section.title, 'error', 'No process of the client runs', here(section));
  });
  look('UEM processes', (section) => {
    if (hasAgent && !evidence(section, ALL).some(({text}) => !TOOL_COMMAND.test(text)))
      tell(section.title, 'error', 'The management agent does not run', here(section), 'QMUem');
  });
  look('route info', (section) => {
    const routes = evidence(section, /\butun7\b/), cards = routes.filter(({text}) => /^(?:\d+: )?utun7:/.test(text));
    if (!routes.length) tell(section.title, 'warning', 'There is no tunnel interface utun7', here(section), 'utun7');
    else if (cards.length === routes.length)
      tell(section.title, 'warning', 'No route leads through the tunnel interface utun7', cards, 'utun7');
  });
  look('resolv dns info', (section) => {
    if (!evidence(section, /^\s{0,9}nameserver\s+\S/).length)
      tell(section.title, 'warning', 'No name server is set', here(section), 'nameserver');
  });
  look('SIP state', (section) => {
    const off = evidence(section, /\bdisabled\b/i);
    if (off.length) tell(section.title, 'warning', 'System Integrity Protection is off', off);
  });
  const bad = modules.map((section) => [section.title, evidence(section, BAD_STATE)]).filter(([, lines]) => lines.length);
  if (bad.length) tell('xtunnel dump:', 'warning', 'Modules of the tunnel service tell of trouble: ' +
    bad.slice(0, 5).map(([title]) => shownName(title, 40)).join(', '), bad.flatMap(([, lines]) => lines), ...bad.map(([title]) => title));
  return found;
}

// ---- Crashes.
const textAt = (value) => typeof value === 'string' ? value.slice(0, 200) : '';
const fileOf = (name) => name.slice(name.lastIndexOf('/') + 1);
/** What a crash report tells: {program, version, stamp, what, where, id}; of one that cannot be read, only its name. */
function readCrash(name, text) {
  const program = fileOf(name).replace(/[-_.]\d{4}-.*|\.\w+$/, ''), report = /\.ips$/i.test(name) && parseReport(text);
  if (report) {
    const {head, body} = report, frames = framesOf(body), {exception = {}, termination = {}} = body;
    const type = textAt(exception?.type) || textAt(exception?.signal) || textAt(termination?.indicator);
    return {program: textAt(body.procName) || textAt(head.app_name) || program, version: textAt(head.app_version),
      stamp: textAt(body.captureTime) || textAt(head.timestamp), id: textAt(head.incident_id) || fileOf(name), what: type,
      where: (frames.find(({symbol, isSystem}) => symbol && !isSystem) ?? frames[0])?.symbol.slice(0, 200) ?? '',
      isClient: CLIENT_PROGRAM.test([program, textAt(body.procName), textAt(body.procPath), textAt(head.bundleID)].join(' '))};
  }
  const field = (pattern) => pattern.exec(text)?.[1] ?? '';
  const process = field(/^Process:[ \t]{0,20}([^\n[]{1,100}?) *(?:\[|$)/m) || program;
  return {program: process, version: field(/^Version:[ \t]{0,20}([^\s]{1,40})/m), id: fileOf(name),
    stamp: field(/^Date\/Time:[ \t]{0,20}([^\n]{1,40})/m), what: field(/^Exception Type:[ \t]{0,20}(\w{1,60})/m),
    where: field(/^Thread \d{1,5} Crashed[^\n]{0,200}\n\d{1,3}[ \t]+\S{1,200}[ \t]+\S{1,40} (.{1,200}?)(?: \+ \d+)?$/m),
    isClient: CLIENT_PROGRAM.test(process + program)};
}
/** Reads the crash reports; one that is in the archive twice counts once. */
async function readCrashes(file, entries, clock) {
  const byId = new Map();
  const reports = entries.filter(({name}) => /\.(?:ips|crash)$/i.test(name));
  reports.sort((a, b) => CLIENT_PROGRAM.test(fileOf(b.name)) - CLIENT_PROGRAM.test(fileOf(a.name)));
  for (const [i, entry] of reports.entries()) {
    const {text} = i < MOST_REPORTS ? await readText(file, entry, REPORT_BYTES, REPORT_BYTES) : {text: ''};
    const crash = readCrash(entry.name, text), stamp = stampOf(crash.stamp, clock);
    if (stamp?.zone) clock.zone ??= offsetOf(stamp.zone);
    if (!byId.has(crash.id)) byId.set(crash.id, {...crash, entry, time: stampOf(crash.stamp, {...clock, zone: undefined})?.time ?? 0});
  }
  return [...byId.values()].sort((a, b) => b.time - a.time);
}
const whenText = (time, end) => end - time < DAY / 2 && time <= end + HOUR ? clockText(time) : stampText(time);
function crashFindings(crashes, dumps, {end}) {
  const programs = new Map();
  for (const crash of crashes) programs.set(crash.program, [...programs.get(crash.program) ?? [], crash]);
  const told = (list) => [`${shownName(list[0].program, 60)}: ${list.length} ${list.length === 1 ? 'crash' : 'crashes'}`,
    list[0].time && `last ${whenText(list[0].time, end)}`,
    [list[0].what, list[0].where].filter((text) => text).map((text) => shownName(text, 80)).join(' in '),
    list[0].version && `version ${shownName(list[0].version, 40)}`].filter((text) => text).join(', ');
  const lines = (list) => list.map(({entry, stamp, what, where}) => ({text: `${what} ${where}`.trim(),
    note: shownName(stamp.slice(0, 19) || 'at an unknown time'), place: {entry}}));
  const all = [...programs.values()], about = ['logs/USER/diagnosticReports/', 'logs/uem_FIRST/DiagnosticReports/'];
  const found = all.filter(([crash]) => crash.isClient).map((list) => ({lines: lines(list), title: told(list), about,
    kind: end - list[0].time < DAY ? 'error' : 'warning', isCrash: true}));
  if (dumps.length) found.push({kind: 'warning', title: `${counted(dumps.length, 'dump')} of the client's window and services, for a debugger`,
    lines: dumps.map((entry) => ({text: bytesText(entry.size), place: {entry}})), about: ['logs/USER/electron/', 'Crash/']});
  const others = all.filter(([crash]) => !crash.isClient);
  if (others.length) found.push({kind: '', isClosed: true, lines: others.flatMap((list) => [{text: told(list), place: {entry: list[0].entry}}]),
    title: `Crashes of other makers' programs: ${sum(others, 'length')}`});
  return found;
}

// ---- Errors in the logs.
function errorLine({text, recent, before, fresh, untimed, since, last, place}, end) {
  const times = (count) => count === 1 ? 'once' : `${count.toLocaleString('en')} times`;
  const note = [recent && `${times(recent)} in the last two hours, ${before ? `${times(before)} before` : 'never before'}`,
    fresh && `${times(fresh)}, in a log that begins within the last two hours`, (recent || fresh) && `since ${clockText(since)}`,
    !recent && before && `${times(before)}, last ${whenText(last, end)}`, untimed && `${times(untimed)}, without a time`];
  return {text, note: note.filter((part) => part).join(', '), place: {entry: place.log.entry, line: place.line}};
}
const inShort = (text) => `“${shownName(text, MOST_QUOTED)}”`;
/** What the logs' errors tell; warnings are asked when no error is new. */
function errorFindings(state) {
  const {end} = state.clock, found = [], errors = ranked(state, 2), isRecent = ({recent, fresh}) => recent || fresh;
  const tell = (kind, title, groups) => groups.length && found.push({kind, title, about: [], isErrors: true,
    lines: groups.map((group) => errorLine(group, end)), words: groups.slice(0, 50).map(({text}) => text)});
  const others = (groups) => groups.length > 1 ? ` and ${counted(groups.length - 1, 'other kind')}` : '';
  const fresh = errors.filter((group) => !group.isNew && group.fresh), news = errors.filter(({isNew}) => isNew);
  const rest = errors.filter((group) => !group.isNew && !group.fresh), steady = rest.filter(isRecent), old = rest.filter((g) => !isRecent(g));
  if (news.length) tell(sum(news, 'recent') > 1 ? 'error' : 'warning',
    `New errors in the last two hours: ${inShort(news[0].text)}, ${counted(news[0].recent, 'time')}${others(news)}`, [...news, ...fresh]);
  else if (fresh.length) tell(sum(fresh, 'fresh') > 2 ? 'warning' : '',
    `Errors in logs that begin within the last two hours: ${inShort(fresh[0].text)}${others(fresh)}`, fresh);
  const warned = news.length + fresh.length ? [] : ranked(state, 1).filter(({isNew, recent}) => isNew && recent > 2);
  if (warned.length) tell('warning', `New warnings in the last two hours: ${inShort(warned[0].text)}${others(warned)}`, warned);
  if (steady.length) tell('', `Errors that come no more often than before: ${counted(steady.length, 'kind')}`, steady);
  const timed = old.filter(({last}) => last !== undefined), untimed = old.filter(({last}) => last === undefined);
  if (timed.length) tell('', `Errors, but none of them in the last two hours: ${counted(timed.length, 'kind')}, the last at ` +
    `${stampText(Math.max(...timed.map(({last}) => last)))}`, timed.sort((a, b) => b.last - a.last));
  if (untimed.length) tell(news.length + fresh.length + steady.length + timed.length ? '' : 'warning',
    `Errors without a time: ${inShort(untimed[0].text)}${others(untimed)}`, untimed);
  return found;
}
/** All findings, the worst first; what the tool could not collect comes after what is wrong with the client. */
function sorted(findings) {
  const rank = ({kind, isClosed, isOfTool}) => isClosed ? 9 : ['error', 'warning', ''].indexOf(kind) + (isOfTool ? 3 : 0);
  return findings.sort((a, b) => rank(a) - rank(b));
}

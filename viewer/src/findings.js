// What is wrong: from the tool's own log, reports, crash reports and groups of errors. Nothing here knows the page.
// A finding is {kind, title, lines, todo, about}: kind is 'error', 'warning' or '', a line {text, note, entry, line},
// and `about` has the names by which a complaint of the guide knows that it is concerned.
const REPORT_BYTES = 2 * MIB, MOST_REPORTS = 300;  // of a crash report, and how many of them are read
const MOST_QUOTED = 160;  // characters of an error in a title
const MOST_SECTIONS = 500, MOST_PROGRAMS = 20;  // of a report, and those whose crashes are told one by one
const CLIENT_PROGRAM = /obrela|quelmar|ferngateway|qmuem|okvu/i;
const TOOL_COMMAND = /\bgrep\b|oBrelaLog|LogCollectionTool/;
const SIGNALS = ' HUP INT QUIT ILL TRAP ABRT EMT FPE KILL BUS SEGV SYS PIPE ALRM TERM'.split(' ');  // of macOS

// ---- The tool's own log.
const isTrouble = ({level}) => /^(warning|error|critical)$/.test(level);
const RUN = /^\[[^\]\n]{1,40}\] \[info\] \[\d+\] \[LogCollectionTool:main:\d+\] Collection log start$/gm;
const RECORD = /^\[([-\d]{10} [:\d]{8}\.\d+)\] \[(\w+)\] \[\d+\] \[LogCollectionTool:\S{1,200}:\d+\] /gm;
/** Parses the own log, whose first line has this number: the last run's records, and the number of runs. */
function readRun(log, line) {
  const starts = [...log.matchAll(RUN)], from = starts.at(-1)?.index ?? 0, text = log.slice(from);
  const heads = [...text.matchAll(RECORD)];
  let number = line + linesIn(log, 0, from), at = 0;
  const records = heads.map((head, i) => {
    [number, at] = [number + linesIn(text, at, head.index), head.index];
    return {stamp: head[1], level: head[2], time: Date.parse(`${head[1].replace(' ', 'T')}Z`) || 0, line: number,
      message: text.slice(at + head[0].length, heads[i + 1]?.index).replace(/\n$/, '')};
  });
  return {runs: starts.length, records};
}
/** Tells whether a text begins with the first of these parts and has the others after it, in that order. */
function fits([begin, ...parts], text) {
  let at = begin.length;
  return text.startsWith(begin) && parts.every((part) => {
    const found = text.indexOf(part, at);
    at = found + part.length;
    return found >= 0;
  });
}
/** Tells whether a record is normal: its row says that there is nothing to do, or it is about a missing folder that
 * many Macs do not have. Missing logs of the client are not normal, except root's. */
const isNormal = ({level, message}, row) => row.todo === 'nothing' || level === 'warning' && / code:2 /.test(message) &&
  /normal/.test(row.cause) && !/^Source directory \/Users\/(?!root\/)[^/]*\/.*\/oBrela\/logs not exist/.test(message);
/** One line for all equal messages, with the time of the first one. */
function recordLines(records, entry) {
  const equal = new Map();
  for (const record of records) listed(equal, record.message).push(record);
  return [...equal.values()].map(([{stamp, level, message, line}, ...more]) => ({text: message.slice(0, 2000), entry,
    line, note: joined([stamp.slice(11, 19), level, more.length && times(more.length + 1)])}));
}
/** What could not be collected. When the client is known to have failed, that the tunnel service did not answer follows
 * from it and needs no advice of its own. */
function recordFindings({run, log}, table, hasFailed) {
  const groups = new Map([['unknown', []]]);
  for (const record of run.records.filter(isTrouble)) {
    const row = table.find(({parts}) => fits(parts, record.message));
    const key = !row ? 'unknown' : isNormal(record, row) ? 'normal' : `${row.heading}\n${row.todo}`;
    listed(groups, key).push({row, record});
  }
  return [...groups].filter(([, pairs]) => pairs.length).map(([key, pairs]) => {
    const records = pairs.map(({record}) => record), {heading, todo} = pairs[0].row ?? {};
    const found = {isOfTool: true, lines: recordLines(records, log), about: ['xtunnel dump:'],
      kind: records.every(({level}) => level === 'warning') ? 'warning' : 'error'};
    if (key === 'unknown') return {...found, title: 'The tool says what the documents do not explain'};
    if (key === 'normal') return {...found, kind: '', isClosed: true,
      title: `Normal: ${counted(records.length, 'thing')} that this machine lacks`};
    const title = `${heading}: ${[...new Set(pairs.map(({row}) => row.cause))].join('; ')}`;
    return {...found, isRich: true, title, todo, ...hasFailed && /^The tunnel/.test(heading) &&
      {kind: '', todo: 'see above: the service did not run when the archive was made'}};
  });
}

// ---- The reports made of commands, and the tunnel's modules.
/** Splits a report at its banners: [{title, lines, entry, line}]. A section need not end in a line feed. */
function sectionsOf(report, entry) {
  const parts = report.split(/={34} ([^\n]{1,100}?) ={34}(?:\n|$)/), sections = [];
  const most = Math.min(parts.length, 2 * MOST_SECTIONS);
  for (let i = 1, line = 2 + linesIn(parts[0]); i < most; line += 1 + linesIn(parts[i + 1]), i += 2)
    sections.push({title: parts[i], lines: parts[i + 1].trim() ? parts[i + 1].trimEnd().split('\n') : [], entry, line});
  return sections;
}
/** Splits the tunnel's dump in the own log into a section for each module; one section when it names none. */
function modulesOf({run, log}, modules) {
  const record = run.records.find(({message}) => message.startsWith('xtunnel dump:\n')), sections = new Map();
  if (!record) return [];
  const dump = record.message.slice(14), json = /^\s*[[{]/.test(dump) && parseJson(dump), lines = dump.split('\n');
  const add = (title, line) => sections.get(title) ??
    sections.set(title, {title, entry: log, line: record.line + 1 + line, lines: []}).get(title);
  if (json) {
    for (const [key, value] of Object.entries(json).slice(0, MOST_SECTIONS))
      add(String(value?.name ?? value?.module ?? key).slice(0, 100), 0).lines.push(...printed(value).split('\n'));
  } else {
    const name = new RegExp(`^[\\W\\d]{0,40}(?:(?:module|name)\\W{1,9})?(${modules.join('|')})(?!\\w)`);
    let title = 'dump';
    lines.forEach((line, i) => add(title = name.exec(line)?.[1] ?? title, i).lines.push(line));
  }
  return [...sections.values()];
}
const NOTHING = '["\']?\\s?[:=]\\s?["\']?(?:\\d|none\\b|no\\b|false|null|nil|ok\\b|["\'])';
const BAD_STATE = new RegExp('(?<!\\b(?:0|no|not) )\\b(?:down|timed? ?-?out|fail(?:ed|ure|s)?|refused|servfail|' +
  `unreachable|expired|error)\\b(?!${NOTHING})|(?<!(?:err|errors?|failed|failures?|fault|timeouts?|reason|proxy)` +
  '["\']?\\s?[:=]\\s?["\']?)\\bnone\\b', 'i');
/** The lines of a section that are like this, as evidence. */
const evidence = ({entry, line, lines}, like) =>
  lines.map((text, i) => ({text: text.slice(0, 500), entry, line: line + i})).filter(({text}) => like.test(text));
const ALL = /\S/;
function jobFindings(section) {
  const jobs = evidence(section, /^(?:-|\d+)\s+-?\d+\s+\S/).map((line) => [...line.text.split(/\s+/), line]);
  const bad = jobs.filter(([pid, status]) => pid === '-' || status !== '0');
  const told = bad.slice(0, 3).map(([pid, status, name]) => {
    const signal = SIGNALS[status < 0 ? -status : status - 128], end = signal ? `SIG${signal}` : `status ${status}`;
    return `${shownName(name, 60)} ${pid === '-' ? 'does not run' : 'runs again'}${status === '0' ? '' : ` (${end})`}`;
  });
  if (bad.length > 3) told.push(`${bad.length - 3} more`);
  return bad.length ? [{kind: bad.some(([pid, status]) => pid === '-' && status !== '0') ? 'error' : 'warning',
    about: [section.title], title: `Launch jobs: ${told.join('; ')}`, lines: bad.map((job) => job.at(-1))}] : [];
}
/** What the reports tell of the machine's state. `hasAgent`: the management agent is installed. */
function stateFindings(sections, modules, hasAgent) {
  const found = [], byTitle = new Map(sections.map((section) => [section.title, section]));
  const look = (title, like, kind, isBad, text, ...about) => {
    const section = byTitle.get(title), lines = section ? evidence(section, like) : [];
    if (!section || !isBad(lines)) return;
    const {entry, line} = section, all = evidence(section, ALL);
    found.push({kind, title: text, about: [title, ...about], lines: lines.length ? lines : all.length ?
      all.slice(0, 1) : [{text: '(an empty section)', entry, line: line - 1}]});
  };
  const isNone = ({length}) => !length, isCard = ({text}) => /^(?:\d+: )?utun7:/.test(text);
  const nobody = (lines) => lines.every(({text}) => TOOL_COMMAND.test(text));
  if (byTitle.has('plist info')) found.push(...jobFindings(byTitle.get('plist info')));
  look('obrela process info', ALL, 'error', nobody, 'No process of the client runs');
  look('UEM processes', ALL, 'error', (lines) => hasAgent && nobody(lines), 'The management agent does not run',
    'QMUem');
  look('route info', /\butun7\b/, 'warning', isNone, 'There is no tunnel interface utun7', 'utun7');
  look('route info', /\butun7\b/, 'warning', (lines) => lines.length && lines.every(isCard),
    'No route leads through the tunnel interface utun7', 'utun7');
  look('resolv dns info', /^\s{0,9}nameserver\s+\S/, 'warning', isNone, 'No name server is set', 'nameserver');
  look('SIP state', /\bdisabled\b/i, 'warning', ({length}) => length, 'System Integrity Protection is off');
  const bad = modules.filter((section) => evidence(section, BAD_STATE).length), names = bad.map(({title}) => title);
  if (bad.length) found.push({kind: 'warning', about: ['xtunnel dump:', ...names],
    title: `Modules of the tunnel service tell of trouble: ${shownName(names.join(', '), 200)}`,
    lines: bad.flatMap((section) => evidence(section, BAD_STATE))});
  return found;
}

// ---- Crashes.
const FIELDS = {'Process': 'program', 'Version': 'version', 'Date/Time': 'stamp', 'Exception Type': 'what'};
const textAt = (value) => typeof value === 'string' ? value.slice(0, 200) : '';
/** What a crash report tells: {program, version, stamp, what, where, id}; of one that is not read, only its name. */
function readCrash(name, text) {
  const program = fileOf(name).replace(/[-_.]\d{4}-.*|\.\w+$/, ''), isClient = CLIENT_PROGRAM.test(program);
  const crash = {program, isClient, version: '', stamp: '', what: '', where: '', id: fileOf(name)};
  const {head, body} = text && /\.ips$/i.test(name) && parseReport(text) || {};
  if (body) {
    const frames = framesOf(body), own = frames.find(({symbol, isSystem}) => symbol && !isSystem) ?? frames[0];
    return {program: textAt(body.procName) || textAt(head.app_name) || program, version: textAt(head.app_version),
      stamp: textAt(body.captureTime) || textAt(head.timestamp), id: textAt(head.incident_id) || fileOf(name),
      what: textAt(body.exception?.type) || textAt(body.exception?.signal) || textAt(body.termination?.indicator),
      where: textAt(own?.symbol),
      isClient: isClient || CLIENT_PROGRAM.test([body.procName, body.procPath, head.bundleID].join(' '))};
  }
  const fields = [...text.matchAll(/^(Process|Version|Date\/Time|Exception Type):[ \t]{0,20}([^\n[]{1,100})/gm)];
  for (const [, field, value] of fields) Object.assign(crash, {[FIELDS[field]]: value.trim()});
  const frame = /^Thread \d+ Crashed.*\n0 .*$/m.exec(text)?.[0];
  return {...crash, isClient: isClient || CLIENT_PROGRAM.test(crash.program),
    where: / 0x[\da-f]{1,16} (.{1,99}?)(?: \+ \d+)?$/m.exec(frame)?.[1] ?? ''};
}
/** Reads the crash reports, of many the client's and latest; one that is in the archive twice counts once. */
async function readCrashes(file, entries, clock) {
  const byId = new Map(), ranks = new Map(), rank = (entry) => ranks.get(entry);
  for (const entry of entries.filter(({name}) => /\.(?:ips|crash)$/i.test(name))) {
    const name = fileOf(entry.name), date = /\d{4}-\d\d-\d\d-\d{4,6}/.exec(name)?.[0] ?? '';
    ranks.set(entry, (CLIENT_PROGRAM.test(name) ? '1' : '0') + date);
  }
  const reports = [...ranks.keys()].sort((a, b) => rank(a) < rank(b) ? 1 : rank(a) > rank(b) ? -1 : 0);
  const read = new Set(reports.slice(0, MOST_REPORTS).sort((a, b) => a.at - b.at));  // which is quickest
  for (const entry of new Set([...read, ...reports])) {
    const text = read.has(entry) && (await readText(textOf(file, entry, REPORT_BYTES), REPORT_BYTES)).text;
    const crash = readCrash(entry.name, text || ''), stamp = stampOf(crash.stamp, {end: clock.end});
    if (stamp?.offset) clock.zone ??= stamp.offset;
    if (!byId.has(crash.id)) byId.set(crash.id, {...crash, entry, time: stamp?.time ?? 0});
    await rest();
  }
  return [...byId.values()].sort((a, b) => b.time - a.time);
}
const whenText = (time, end) => end - time < DAY / 2 && time <= end + HOUR ? clockText(time) : stampText(time);
function crashFindings(crashes, dumps, {end}) {
  const programs = new Map(), found = [];
  for (const crash of crashes) listed(programs, crash.program).push(crash);
  const told = ([{program, time, what, where, version}, ...older]) => joined([
    `${shownName(program, 60)}: ${counted(older.length + 1, 'crash')}`, time && `last ${whenText(time, end)}`,
    joined([what, where].map((text) => text && shownName(text, 80)), ' in '),
    version && `version ${shownName(version, 40)}`], ', ');
  const own = [...programs.values()].filter(([{isClient}]) => isClient).slice(0, MOST_PROGRAMS),
    others = [...programs.values()].filter(([{isClient}]) => !isClient);
  for (const list of own) found.push({kind: end - list[0].time < RECENT ? 'error' : 'warning',
    title: told(list), about: ['logs/USER/diagnosticReports/', 'logs/uem_FIRST/DiagnosticReports/'],
    lines: list.map(({entry, stamp, what, where}) => ({entry, text: joined([what, where]),
      note: shownName(stamp.slice(0, 19) || 'at an unknown time')}))});
  if (dumps.length) found.push({kind: 'warning', about: ['logs/USER/electron/', 'Crash/'],
    title: `${counted(dumps.length, 'dump')} of the client’s window and services, for a debugger`,
    lines: dumps.map((entry) => ({text: bytesText(entry.size), entry}))});
  if (others.length) found.push({kind: '', isClosed: true,
    title: `Crashes of other makers’ programs: ${sum(others, 'length')}`,
    lines: others.map((list) => ({text: told(list), entry: list[0].entry}))});
  return found;
}

// ---- Errors in the logs.
function errorLine({text, recent, before, fresh, untimed, since, last, place: {log, line}}, end) {
  const note = [recent && `${times(recent)} in the last two hours`,
    recent && (before ? `${times(before)} before` : 'never before'),
    fresh && `${times(fresh)}, in a log that begins within the last two hours`,
    (recent || fresh) && `since ${clockText(since)}`,
    !recent && before && `${times(before)}, last ${whenText(last, end)}`,
    untimed && `${times(untimed)}, without a time`];
  return {text, note: joined(note, ', '), entry: log.entry, line};
}
/** What the logs' errors tell; warnings are asked when no error is new. */
function errorFindings(state) {
  const found = [], errors = ranked(state, 2), news = errors.filter(({isNew}) => isNew);
  const fresh = errors.filter((group) => !group.isNew && group.fresh);
  const others = errors.filter((group) => !group.isNew && !group.fresh);
  const warned = news.length || fresh.length ? [] : ranked(state, 1).filter(({isNew, recent}) => isNew && recent > 2);
  const tell = (kind, title, groups) => {
    if (!groups.length) return;
    const [{text, recent}, ...more] = groups, count = recent > 1 && groups === news && times(recent);
    const others = more.length && `${counted(more.length, 'other kind')}`;
    found.push({kind, about: [], lines: groups.map((group) => errorLine(group, state.clock.end)),
      words: groups.slice(0, 50).map((group) => group.text.toLowerCase()),
      title: `${title}: ${joined([joined([`“${shownName(text, MOST_QUOTED)}”`, count], ', '), others], ' and ')}`});
  };
  tell(sum(news, 'recent') > 1 ? 'error' : 'warning', 'New errors in the last two hours', news);
  tell(!news.length && sum(fresh, 'fresh') > 2 ? 'warning' : '', 'Errors in logs that begin within the last two hours',
    fresh);
  tell('warning', 'New warnings in the last two hours', warned);
  tell('', 'Errors that are not new', others.filter(({recent, before}) => recent || before));
  tell('', 'Errors without a time', others.filter(({recent, before}) => !recent && !before));
  return found;
}
/** All findings, the worst first; what the tool could not collect comes after what is wrong with the client. */
function sorted(findings) {
  const rank = ({kind, isClosed, isOfTool}) => isClosed ? 9 :
    ['error', 'warning', ''].indexOf(kind) + (isOfTool ? 3 : 0);
  return findings.sort((a, b) => rank(a) - rank(b));
}

// What is wrong: from the tool's own log, reports, crash reports and groups of errors. Nothing here knows the page.
// A finding is {kind, title, lines, todo, about}: kind is 'error', 'warning' or '', a line {text, note, entry, line},
// and `about` has the names by which a complaint of the guide knows that it is concerned.
const REPORT_BYTES = 2 * MIB, MOST_REPORTS = 300;  // of a crash report, and how many of them are read
const MOST_MESSAGE = 2000;  // characters of a record
const MOST_SECTIONS = 500;  // of a report
const CLIENT_PROGRAM = /obrela|quelmar|ferngateway|qmuem|okvu/i;
const XTUNNEL = 'xtunnel dump:';
const ALL = /^.*\S.*/gm, PROCESS = /^(?!.*(?:\bgrep\b|oBrelaLog|LogCollectionTool)).*\S.*/gm;  // but the tool's own
const SIGNALS = ' HUP INT QUIT ILL TRAP ABRT EMT FPE KILL BUS SEGV SYS PIPE ALRM TERM'.split(' ');  // of macOS

// ---- The tool's own log.
const isTrouble = ({level}) => /^(warning|error|critical)$/.test(level);
const RECORD = /^\[([-\d]{10} [:\d]{8}\.\d+)\] \[(\w+)\] \[\d+\] \[LogCollectionTool:\S{1,200}:\d+\] /;
/** Parses the own log, whose first line has this number: the last run's records, and the number of runs. */
function readRun(log, line) {
  const all = [], isStart = ({message}) => message.startsWith('Collection log start');
  for (const [i, text] of log.trimEnd().split('\n').entries()) {
    const [head, stamp, level] = RECORD.exec(text) ?? [];
    const time = Date.parse(`${stamp?.replace(' ', 'T')}Z`) || 0;
    if (head) all.push({stamp, level, time, line: line + i, message: text.slice(head.length)});
    else if (all.length) all.at(-1).message += `\n${text}`;
  }
  return {runs: all.filter(isStart).length, records: all.slice(Math.max(0, all.findLastIndex(isStart)))};
}
/** Tells whether a record is normal: its row says that there is nothing to do, or it is about a missing folder that
 * many Macs do not have. Missing logs of the client are not normal, except root's. */
const isNormal = ({level, message}, row) => row.todo === 'nothing' || level === 'warning' && / code:2 /.test(message) &&
  /normal/.test(row.cause) && !/^Source directory \/Users\/(?!root\/)[^/]*\/.*\/oBrela\/logs not exist/.test(message);
function recordLines(records, entry) {
  const equal = new Map();
  for (const record of records) listed(equal, record.message).push(record);
  return [...equal.values()].map(([{stamp, level, message, line}, ...more]) => ({entry, line,
    note: joined([stamp.slice(11, 19), level, more.length && times(more.length + 1)]),
    text: message.slice(0, MOST_MESSAGE)}));
}
/** What could not be collected. When the client is known to have failed, that the tunnel service did not answer follows
 * from it and needs no advice of its own. */
function recordFindings({records}, log, table, others) {
  const groups = new Map(), likeOf = (parts) => new RegExp(`^${parts.map(escaped).join('[^]*?')}`);
  const rows = table.map((row) => ({...row, like: likeOf(row.parts)}));
  const isKnown = others.some(({kind, about}) => kind === 'error' && /process|plist|diagnosticReports/.test(about));
  for (const record of records.filter(isTrouble)) {
    const row = rows.find(({like}) => like.test(record.message.slice(0, MOST_MESSAGE)));
    listed(groups, row && (isNormal(record, row) ? 'normal' : row.heading + row.todo)).push({row, record});
  }
  return [...groups].map(([key, pairs]) => {
    const told = pairs.map(({record}) => record), {heading, todo} = pairs[0].row ?? {};
    const causes = [...new Set(pairs.map(({row}) => row?.cause))].join('; ');
    const found = {isOfTool: true, lines: recordLines(told, log), about: [XTUNNEL],
      kind: told.every(({level}) => level === 'warning') ? 'warning' : 'error'};
    if (!key) return {...found, title: 'The tool says what the documents do not explain'};
    if (key === 'normal') return {...found, kind: '', isClosed: true,
      title: `Normal: ${counted(told.length, 'thing')} that this machine lacks`};
    const isOurs = isKnown && /^The tunnel/.test(heading);
    return {...found, isRich: true, title: `${heading}: ${causes}`, kind: isOurs ? '' : found.kind,
      todo: isOurs ? 'see above: the service did not run when the archive was made' : todo};
  });
}

// ---- The reports made of commands, and the tunnel's modules.
/** Splits a report at its banners: [{title, lines, entry, line}]. A section need not end in a line feed. */
function sectionsOf(report, entry) {
  const parts = report.split(/={34} ([^\n]{1,100}?) ={34}(?:\n|$)/, 2 * MOST_SECTIONS + 1), sections = [];
  for (let i = 1, line = 2 + linesIn(parts[0]); i < parts.length; line += 1 + linesIn(parts[i + 1]), i += 2)
    sections.push({title: parts[i], lines: parts[i + 1].trim() ? parts[i + 1].trimEnd().split('\n') : [], entry, line});
  return sections;
}
/** Splits the tunnel's dump in the own log into a section for each module; one section when it names none. */
function modulesOf({records}, log, modules) {
  const record = records.find(({message}) => message.startsWith(XTUNNEL)), sections = new Map();
  if (!record) return [];
  const dump = record.message.slice(XTUNNEL.length + 1), json = /^\s*[[{]/.test(dump) && parseJson(dump);
  if (json) return Object.entries(json).slice(0, MOST_SECTIONS).map(([key, value]) => ({
    title: String(value?.name ?? value?.module ?? key).slice(0, 100), entry: log, line: record.line + 1,
    lines: JSON.stringify(value, null, 2).split('\n')}));
  const name = new RegExp(`^[\\W\\d]{0,40}(?:(?:module|name)\\W{1,9})?(${modules.join('|')})(?!\\w)`);
  let title = 'dump';
  for (const [i, text] of dump.split('\n').entries()) {
    title = name.exec(text)?.[1] ?? title;
    const section = sections.get(title) ?? {title, entry: log, line: record.line + 1 + i, lines: []};
    section.lines.push(text);
    sections.set(title, section);
  }
  return [...sections.values()];
}
const NOTHING = '["\']?\\s?[:=]\\s?["\']?(?:\\d|none\\b|no\\b|false|null|nil|ok\\b|["\'])';
const BAD_STATE = new RegExp('(?<!\\b(?:0|no|not) )\\b(?:down|timed? ?-?out|fail(?:ed|ure|s)?|refused|servfail|' +
  `unreachable|expired|error)\\b(?!${NOTHING})|(?<!(?:err|errors?|failed|failures?|fault|timeouts?|reason|proxy)` +
  '["\']?\\s?[:=]\\s?["\']?)\\bnone\\b', 'i');
const evidence = ({entry, line, lines}, like) =>
  lines.map((text, i) => ({text: text.slice(0, 500), entry, line: line + i})).filter(({text}) => like.test(text));
/** What is told of the machine: its name, section and lines; when there are none, the fault, its kind, and another word
 * of the guide for it. */
const FACTS = [
  ['System', 'os info', /<key>Product(?:Name|Version)<\/key>\s{0,99}<string>([^<\n]{1,60})|^PRETTY_NAME="?([^"\n]+)/gm],
  ['Addresses', 'netcard', /^[ \t]{0,99}inet6? (?!127\.|::1\b|fe80::1%lo0)(\S{1,60})/gm],
  ['Tunnel interface', 'route info', /^.*\butun7\b.*/gm, 'There is no tunnel interface utun7', 'warning', 'utun7'],
  ['Routes through it', 'route info', /^(?!\s|\d+: |utun7:).*\butun7\b.*/gm,
    'No route leads through the tunnel interface utun7', 'warning', 'utun7'],
  ['Name servers', 'resolv dns info', /^\s{0,9}nameserver\s+(.+)/gm, 'No name server is set', 'warning', 'nameserver'],
  ['Processes of the client', 'obrela process info', PROCESS, 'No process of the client runs', 'error'],
  ['Processes of FernGateway', 'ferngateway process info', PROCESS],
  ['Processes of the agent', 'UEM processes', PROCESS, 'The management agent does not run', 'error', 'QMUem'],
  ['Launch jobs', 'plist info', ALL], ['SIP', 'SIP state', ALL],
  ['Kernel extensions', 'KEXT state', /^.*(?:quelmar|brela).*/gim],
  ['System extensions', 'SEXT state', /^.*(?:quelmar|brela).*/gim]];
function factsOf(sections) {
  return FACTS.map(([name, title, like, fault, kind, about]) => {
    const section = sections.find((one) => one.title === title);
    const found = [...section?.lines.join('\n').matchAll(like) ?? []];
    return {name, section, fault, kind, about, values: found.map((all) => all.findLast((part) => part).trim())};
  });
}
function jobText([pid, status, name]) {
  const signal = SIGNALS[status < 0 ? -status : status - 128], end = signal ? `SIG${signal}` : `status ${status}`;
  return `${shownName(name, 60)} ${pid === '-' ? 'does not run' : 'runs again'}${status === '0' ? '' : ` (${end})`}`;
}
/** What is wrong with the machine's state. `hasAgent`: the management agent is installed. */
function stateFindings(sections, modules, hasAgent) {
  const found = [], linesOf = (name, like) =>
    sections.filter(({title}) => title === name).flatMap((section) => evidence(section, like));
  const tell = (kind, title, about, lines) => lines.length && found.push({kind, title, about, lines});
  const jobs = linesOf('plist info', /^(?:-|\d+)\s+-?\d+\s+\S/).map((line) => [...line.text.split(/\s+/), line])
    .filter(([pid, status]) => pid === '-' || status !== '0');
  const more = jobs.length > 3 && `${jobs.length - 3} more`;
  tell(jobs.some(([pid, status]) => pid === '-' && status !== '0') ? 'error' : 'warning',
    `Launch jobs: ${joined([...jobs.slice(0, 3).map(jobText), more], '; ')}`, ['plist info'],
    jobs.map((job) => job.at(-1)));
  for (const {section, values, fault, kind, about} of factsOf(sections)) {
    if (!section || !fault || values.length || section.title === 'UEM processes' && !hasAgent) continue;
    const {title, entry, line} = section, lines = evidence(section, /\S/).slice(0, 1);
    if (found.some((other) => other.about.includes(title))) continue;  // one is enough: no interface has no routes
    const nothing = {text: '(an empty section)', entry, line: line - 1};
    tell(kind, fault, [title, about], lines.length ? lines : [nothing]);
  }
  tell('warning', 'System Integrity Protection is off', ['SIP state'], linesOf('SIP state', /\bdisabled\b/i));
  const bad = modules.filter((section) => evidence(section, BAD_STATE).length), names = bad.map(({title}) => title);
  tell('warning', `Modules of the tunnel service tell of trouble: ${shownName(names.join(', '), 200)}`,
    [XTUNNEL, ...names], bad.flatMap((section) => evidence(section, BAD_STATE)));
  return found;
}

// ---- Crashes.
const firstText = (...values) => values.find((value) => typeof value === 'string' && value)?.slice(0, 200) ?? '';
function readCrash(name, text) {
  const byName = fileOf(name).replace(/[-_.]\d{4}-.*|\.\w+$/, ''), cut = text.indexOf('\n');
  const head = parseJson(text.slice(0, cut)), body = parseJson(text.slice(cut));  // nothing when it is not in JSON
  const frames = body?.threads?.[body.faultingThread]?.frames;
  const known = Array.isArray(frames) ? frames.filter((frame) => frame?.symbol) : [];
  const isSystem = ({imageIndex}) => /^\/(?:usr\/lib|System)\//.test(body.usedImages?.[imageIndex]?.path);
  const inJson = (known.find((frame) => !isSystem(frame)) ?? known[0])?.symbol;
  const inText = /^Thread \d+ Crashed.*\n0 .* 0x[\da-f]{1,16} (.{1,99}?)(?: \+ \d+)?$/m.exec(text)?.[1];
  const field = (title) => new RegExp(`^${title}:[ \\t]{0,20}([^\\n[]{1,100})`, 'm').exec(text)?.[1].trim();
  const program = firstText(body?.procName, head?.app_name, field('Process'), byName);
  return {
    program, version: firstText(head?.app_version, field('Version')), where: firstText(inJson, inText),
    stamp: firstText(body?.captureTime, head?.timestamp, field('Date/Time')),
    what: firstText(body?.exception?.type, body?.termination?.indicator, field('Exception Type')),
    isClient: CLIENT_PROGRAM.test([byName, program, body?.procPath, head?.bundleID].join(' ')),
    id: firstText(head?.incident_id, fileOf(name))};
}
/** Reads the crash reports, of many the client's and latest; one that is in the archive twice counts once. */
async function readCrashes(file, entries, clock, notes) {
  const byId = new Map(), dateIn = (name) => /\d{4}-\d\d-\d\d-\d{4,6}/.exec(name)?.[0] ?? '';
  const all = entries.filter(({name}) => /\.(?:ips|crash)$/i.test(name)).map((entry) =>
    ({entry, rank: (CLIENT_PROGRAM.test(fileOf(entry.name)) ? '1' : '0') + dateIn(entry.name)}));
  await rest();
  const reports = all.sort((a, b) => a.rank < b.rank ? 1 : -1).slice(0, MOST_REPORTS);
  if (all.length > MOST_REPORTS) notes.push(['', `${MOST_REPORTS} of ${all.length} crash reports are read.`]);
  for (const {entry} of reports.sort((a, b) => a.entry.at - b.entry.at)) {  // which is quickest
    const crash = readCrash(entry.name, (await readText(textOf(file, entry, REPORT_BYTES), REPORT_BYTES)).text);
    const stamp = stampOf(crash.stamp, clock);
    if (stamp?.offset) clock.zone ??= stamp.offset;
    if (!byId.has(crash.id)) byId.set(crash.id, {...crash, entry, time: stamp?.time ?? 0});
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
  const [own, others] = [true, false].map((wanted) =>
    [...programs.values()].filter(([{isClient}]) => isClient === wanted));
  for (const list of own) {
    const lines = list.map(({entry, stamp, what, where}) =>
      ({entry, text: joined([what, where]), note: shownName(stamp.slice(0, 19) || 'at an unknown time')}));
    found.push({kind: end - list[0].time < RECENT ? 'error' : 'warning', title: told(list), lines,
      about: ['logs/USER/diagnosticReports/', 'logs/uem_FIRST/DiagnosticReports/']});
  }
  if (dumps.length) found.push({kind: 'warning', about: ['logs/USER/electron/', 'Crash/'],
    title: `${counted(dumps.length, 'dump')} of the client’s window and services, for a debugger`,
    lines: dumps.map((entry) => ({text: bytesText(entry.size), entry}))});
  if (others.length) found.push({kind: '', isClosed: true, about: [],
    title: `Crashes of other makers’ programs: ${sum(others, 'length')}`,
    lines: others.map((list) => ({text: told(list), entry: list[0].entry}))});
  return found;
}

// ---- Errors in the logs.
function errorLine({text, recent, before, fresh, untimed, place: {log, line, since}}) {
  return {text, entry: log.entry, line, note: joined([
    recent && `${times(recent)} in the last two hours, ${before ? `${times(before)} before` : 'never before'}`,
    fresh && `${times(fresh)}, in a log that begins within the last two hours`,
    since && `since ${clockText(since)}`, !recent && before && times(before),
    untimed && `${times(untimed)}, without a time`], ', ')};
}
function errorFindings(state) {
  const found = [], of = (age, level = 2) => ranked(state, level).filter((group) => group.age === age);
  const tell = (kind, title, groups) => {
    if (!groups.length) return;
    const [{text, recent, age}] = groups, others = groups.length > 1 && counted(groups.length - 1, 'other kind');
    const first = joined([`“${shownName(text, 160)}”`, age === 'new' && recent > 1 && times(recent)], ', ');
    found.push({kind, title: `${title}: ${joined([first, others], ' and ')}`, about: [],
      lines: groups.map(errorLine),
      words: groups.slice(0, 50).map((group) => group.text.toLowerCase())});
  };
  const news = of('new'), fresh = of('fresh'), isMany = sum(fresh, 'fresh') > 2;
  tell(sum(news, 'recent') > 1 ? 'error' : 'warning', 'New errors in the last two hours', news);
  tell(!news.length && isMany ? 'warning' : '', 'Errors in logs that begin within the last two hours', fresh);
  if (!news.length && !fresh.length) tell('warning', 'New warnings in the last two hours', of('new', 1));
  tell('', 'Errors that are not new', of('old'));
  return found;
}

// What the logs say: stamps, levels, and errors grouped by their text, in one pass. Nothing here knows the page.
const HOUR = 3600000, RECENT = 2 * HOUR, HOURS = 24;
const OWN_LOG = 'LogColltionTool.log';
const LOGS_BYTES = 512 * MIB;  // read of all logs together
const MOST_GROUPS = 5000, MOST_PLACES = 20000;  // kinds of error lines, and those in each log
const HEAD_CHARS = 200, LINE_CHARS = 1000, KIND_CHARS = 200;  // of a line: its stamp and level, looked at, compared
const LOOK_BACK = 5;  // lines before one without a stamp that are searched for it

// ---- Stamps: milliseconds of the wall clock of the machine, as if it were UTC.
const DAY_AND_TIME = '(20\\d\\d)[-/.]?(\\d\\d)[-/.]?(\\d\\d)(?:[T ,_-]| [+-]\\d{1,2}\\.\\d )' +
  '(\\d\\d):?(\\d\\d):?(\\d\\d)(?:[.,]\\d{1,9})?(?: ?(Z\\b|[+-]\\d\\d:?\\d\\d))?';
const STAMP = new RegExp(`^(?:[\\[<(]?\\d{1,7}[\\]>):]{0,2} )?\\D{0,12}${DAY_AND_TIME}`);
const STAMP_INSIDE = new RegExp(DAY_AND_TIME);  // of JSON
const SYSLOG = /^(?:<\d{1,3}>)?(?:[A-Z][a-z]{2} )?([A-Z][a-z]{2}) {1,2}(\d\d?) (?:(20\d\d) )?(\d\d):(\d\d):(\d\d)/;
const CHROMIUM = /^(?:\[(?:\d{1,9}:\d{1,9}:)?|[IWEF])(\d\d)(\d\d)[/ ](\d\d):?(\d\d):?(\d\d)/;
const EPOCH = /^(?:\[|\{.{0,80}?"(?:ts|time|timestamp)"\s?:\s?)?(1\d{9})(?:\.?\d{3,6})?(?=[\].,} \t])/;
const MONTHS = 'JanFebMarAprMayJunJulAugSepOctNovDec';
const stampText = (time) => new Date(time).toISOString().slice(0, 19).replace('T', ' ');
const clockText = (time) => stampText(time).slice(11);
const offsetOf = (zone) => zone === 'Z' ? 0 :
  (zone[0] === '-' ? -1 : 1) * (Number(zone.slice(1, 3)) + Number(zone.slice(-2)) / 60) * HOUR;
/** The stamp at the beginning of a line: {time, zone, length}, undefined when there is none. `clock` is {end, zone}:
 * when the archive was made, and how far that machine's clock was ahead of UTC, undefined when that is not known. */
function stampOf(line, clock) {
  const head = line.slice(0, HEAD_CHARS), isJson = head[0] === '{';
  const stamp = (text, zone, year, month, day, ...rest) => {
    const at = (y) => Date.UTC(y, month - 1, day, ...rest), last = new Date(clock.end).getUTCFullYear();
    const known = zone && clock.zone !== undefined ? clock.zone - offsetOf(zone) : 0;
    if (!(month >= 1 && month < 13 && day < 32)) return undefined;
    // Without a year it is the last one in which the day is not to come.
    const time = year ? at(year) + known : at(last) <= clock.end + 48 * HOUR ? at(last) : at(last - 1);
    return {zone, length: isJson ? 0 : text.length, time};
  };
  let found = (isJson ? STAMP_INSIDE : STAMP).exec(head);
  if (found) return stamp(found[0], found[7], ...found.slice(1, 7));
  if ((found = CHROMIUM.exec(head))) return stamp(found[0], '', '', ...found.slice(1));
  if ((found = SYSLOG.exec(head)))
    return stamp(found[0], '', found[3], MONTHS.indexOf(found[1]) / 3 + 1, found[2], ...found.slice(4));
  found = EPOCH.exec(head);
  return found ? {time: found[1] * 1000 + (clock.zone ?? 0), length: isJson ? 0 : found[0].length} : undefined;
}
/** The time of the line that begins at `start`, or of the last one before it that has a stamp. */
function timeAt(text, start, clock) {
  for (let i = 0, at = start; i <= LOOK_BACK; ++i, at = text.lastIndexOf('\n', at - 2) + 1) {
    const stamp = stampOf(text.slice(at, at + HEAD_CHARS), clock);
    if (stamp || at === 0) return stamp?.time;
  }
  return undefined;
}

// ---- Levels: 2 for an error, 1 for a warning, else 0. A field of the line decides; words do where there is none.
const ERRORS = ['error', 'err', 'fault', 'fatal', 'critical', 'crit', 'severe', 'alert', 'emergency', 'emerg', 'panic'];
const WARNINGS = ['warning', 'warn'], OTHERS = ['trace', 'verbose', 'debug', 'info', 'information', 'notice'];
const LOW = [...ERRORS, ...WARNINGS, ...OTHERS].join('|'), UP = LOW.toUpperCase();
const CAPITAL = LOW.replace(/\b\w/g, (letter) => letter.toUpperCase()), ANY = `${LOW}|${UP}|${CAPITAL}`;
const FIELD = new RegExp([
  `[\\[<(|](${ANY}|[TVDIWEF])[\\]>)|]`,  // [error] <Error> |E|
  `:(${UP}):`,  // Chromium
  `(?:level|lvl|severity|levelname)"?\\s?[=:]\\s?"?(${ANY}|\\d\\d)\\b`,  // JSON and others with names
  `(?<=^|[\\d\\])>] {1,9})(${ANY}):\\s(?!(?:none|no|0)\\b)`,  // after the stamp
  `(?<=[\\da-f\\])>]\\s{1,12})(${UP}|${CAPITAL}|Default|Activity)\\s`,  // a column after stamp or number
  `(?<=[\\s\\])>])(?<!\\b(?:0|[Nn]o) )(${UP})[\\s\\])>:]`,
  '^([IWEF])(?=\\d{4} )'].join('|'));
const WORDS = new RegExp('(?<!\\b(?:0|no|not|without|zero) )\\b(?:errors?|err|fatal|critical|panic(?:ked)?|' +
  'fail(?:s|ed|ure|ures)?|fault|exception|abort(?:ed)?|crash(?:ed)?|refused|denied|timed out|unreachable|expired|' +
  'corrupt(?:ed)?|malformed|servfail)\\b' +
  '(?![-/]|\\.\\w|["\']?\\s?[:=]\\s?["\']?(?:none|nil|null|no|false|0|ok|success)\\b)', 'i');
/** What a line must have to be a warning or an error: most have it not, and are passed over at once. */
const SUSPECT = new RegExp('err|warn|fa(?:il|tal|ult)|crit|severe|alert|emerg|panic|exception|abort|crash|' +
  'refused|denied|timed out|unreachable|expired|corrupt|malformed|[\\[<(|][EFW][\\]>)|]|' +
  'level"?\\s?[=:]\\s?[456]0|(?:^|\\n)[EFW]\\d{4} ', 'gi');
function levelNamed(field) {
  if (/^\d/.test(field)) return field < 40 ? 0 : field < 50 ? 1 : 2;
  const name = field.toLowerCase();
  return 'ef'.includes(name) || ERRORS.includes(name) ? 2 : name === 'w' || WARNINGS.includes(name) ? 1 : 0;
}
/** The level of a line, and where its field ends: {level, length}. */
function levelOf(line) {
  const found = FIELD.exec(line.slice(0, HEAD_CHARS));
  if (!found) return {level: WORDS.test(line.slice(0, LINE_CHARS)) ? 2 : 0, length: 0};
  return {level: levelNamed(found.slice(1).find((part) => part)), length: found.index + found[0].length};
}

// ---- Groups of lines that say the same.
const SAID = /"(?:msg|message|error|event)"\s?:\s?"((?:[^"\\]|\\.){1,300})/;
const NUMBERS = /\b[\da-fx]*\d[\da-f.:%-]*/gi;
/** What a line says: without stamp, level and the numbers and signs after them. */
function messageOf(line, length) {
  if (line[0] === '{' && SAID.test(line)) return SAID.exec(line)[1];
  const said = line.slice(length).replace(/^(?:[\s\])>:|,-]|\[[\d:]{1,20}\]|0x[\da-f]{1,16}\b|\d{1,12}\s)+/i, '');
  return said.slice(0, 300).trim();
}
const newLog = (entry) => ({entry, lines: 0, errors: 0, recent: 0, read: 0, fault: '',
  hours: Array.from({length: HOURS}, () => ({lines: 0, errors: 0, line: 0}))});
const newState = (clock) => ({clock, logs: [], groups: new Map(), places: 0, others: 0});
const hourOf = (log, time, {end}) => time === undefined ? undefined :
  log.hours[HOURS - 1 - Math.max(0, Math.floor(end / HOUR) - Math.floor(time / HOUR))];

/** Adds the lines of a block to the hours of its log: at once where the block begins and ends in the same hour. */
function countHours(text, line, log, clock) {
  const near = [], lines = linesIn(text) || 1, after = (at) => text.indexOf('\n', at) + 1 || text.length;
  for (let at = 0; near.length < LOOK_BACK && at < text.length; at = after(at))
    near.push(stampOf(text.slice(at, at + HEAD_CHARS), clock));
  const stamp = near.find((found) => found), last = timeAt(text, text.lastIndexOf('\n', text.length - 2) + 1, clock);
  const first = stamp?.time ?? last, add = (time, number, count) => {
    const hour = hourOf(log, time, clock);
    if (hour) [hour.lines, hour.line] = [hour.lines + count, hour.line || number];
  };
  if (/system_wide/.test(log.entry.name) && stamp?.zone && stamp.zone !== 'Z') clock.zone ??= offsetOf(stamp.zone);
  log.lines += lines;
  log.begin ??= first;
  if (last === undefined || Math.floor(first / HOUR) === Math.floor(last / HOUR)) {
    add(first ?? log.last, line, lines);
  } else {
    let time = log.last ?? first, prefix = '';
    for (let at = 0, number = line; at < text.length; at = after(at), ++number) {
      // Most lines have the same minute as the one before.
      const found = prefix && text.startsWith(prefix, at) ? undefined : stampOf(text.slice(at, at + HEAD_CHARS), clock);
      if (found) [time, prefix] = [found.time, found.length > 18 ? text.slice(at, at + 17) : ''];
      add(time, number, 1);
    }
  }
  log.last = last ?? first ?? log.last;
}
/** Adds an error or a warning to the group of those that say the same. */
function addToGroup(state, level, said, log, line, time) {
  const key = level + said.slice(0, KIND_CHARS).replace(NUMBERS, '#'), {groups} = state;
  const place = groups.get(key)?.places.get(log) ?? {log, line, recent: 0, before: 0, untimed: 0};
  if (!place.lastLine) {
    if (state.places >= MOST_PLACES || groups.size >= MOST_GROUPS && !groups.has(key)) return void ++state.others;
    if (!groups.has(key)) groups.set(key, {level, text: copied(said), places: new Map()});
    groups.get(key).places.set(log, place);
    ++state.places;
  }
  const kind = time === undefined ? 'untimed' : time > state.clock.end - RECENT ? 'recent' : 'before';
  if (kind === 'recent' && !place.recent) [place.since, place.sinceLine] = [time, line];
  ++place[kind];
  [place.last, place.lastLine] = [time, line];
}
/** Looks through a block of lines, the first of which has this number. */
function lookThrough(text, line, log, state) {
  const {clock} = state;
  let number = line, at = 0, time = log.last;
  countHours(text, line, log, clock);
  SUSPECT.lastIndex = 0;
  for (let found; (found = SUSPECT.exec(text));) {
    const start = text.lastIndexOf('\n', found[0][0] === '\n' ? found.index : found.index - 1) + 1;
    const newline = text.indexOf('\n', found.index + 1), stop = newline < 0 ? text.length : newline;
    const whole = text.slice(start, Math.min(stop, start + LINE_CHARS)), {level, length} = levelOf(whole);
    SUSPECT.lastIndex = stop;
    if (!level) continue;
    [number, at] = [number + linesIn(text, at, start), start];
    const stamp = stampOf(whole, clock);
    time = stamp?.time ?? timeAt(text, start, clock) ?? time;
    addToGroup(state, level, messageOf(whole, Math.max(length, stamp?.length ?? 0)), log, number, time);
    if (level < 2) continue;
    ++log.errors;
    if (time > clock.end - RECENT) ++log.recent;
    const hour = hourOf(log, time, clock);
    if (hour && !hour.errors++) hour.line = number;
  }
}

// ---- Which logs, in which order, and what is new in them.
const isLog = ({name}) => /(?:\.(?:log|txt|xlog|back|old|out|err)|\.log\.\w{1,12}|\/[^./]+)$/i.test(name) ||
  /^logs\/.*\.json$/i.test(name);
const isOwn = ({name}) => /(?:^|\/)(?:LogColltionTool[^/]*|system_(?:info|state))\.log$/.test(name);
/** The name that a log has in common with those that it was moved to. */
const familyOf = (name) => name.slice(-300).replace(/[._-]?\d{1,30}|\.(?:old|back)$/gi, '');
const ORDER = [/^logs\/system_wide/, /^logs\/(?!uem_|OKVU\/)[^/]+\/.*\.log$/i, /^logs\/(?!OKVU)/, /^system\//,
  /^logs\//, /^/];
/** The logs of an archive: the likeliest first, which are small current ones of the client. */
function logsOf(entries) {
  const isMoved = ({name}) => /\.(?:old|back|\d+)$|\d\.\w+$/i.test(name);
  const rank = (entry) => ORDER.findIndex((like) => like.test(entry.name)) + (isMoved(entry) ? 0.5 : 0);
  return entries.filter((entry) => entry.size && isLog(entry) && !isOwn(entry))
    .map((entry) => [rank(entry), entry]).sort(([a, x], [b, y]) => a - b || x.size - y.size).map(([, entry]) => entry);
}
/** Reads all logs once into a state; `isCurrent` tells whether that is still wanted. */
async function readLogs(file, entries, state, isCurrent, told) {
  let left = LOGS_BYTES;
  for (const entry of logsOf(entries)) {
    const log = newLog(entry);
    state.logs.push(log);
    if (left <= 0) { log.fault = 'not read'; continue; }
    try {
      for await (const {text, line, kind} of textOf(file, entry, left)) {
        if (!isCurrent()) return;
        if (kind) { log.kind = kind; break; }
        log.read += text.length;
        lookThrough(text, line, log, state);
      }
    } catch (error) { log.fault = sentence(error); }
    left -= log.kind ? 0 : log.read;
    told(state);
  }
}
/** The groups of a level, those first that come much more often in the last two hours than before. What is in logs that
 * begin within these comes last: nothing tells what is new there. */
function ranked(state, level) {
  const from = state.clock.end - RECENT, begins = new Map();
  const beginOf = ({log}) => begins.get(familyOf(log.entry.name)) ?? Infinity;
  for (const log of state.logs) begins.set(familyOf(log.entry.name), Math.min(log.begin ?? Infinity, beginOf({log})));
  return [...state.groups.values()].filter((group) => group.level === level).map(({text, places}) => {
    const all = [...places.values()], old = all.filter((place) => beginOf(place) < from);
    const recent = sum(old, 'recent'), before = sum(old, 'before');
    const hours = Math.max(0.25, ...old.map((place) => (from - beginOf(place)) / HOUR));
    const first = all.reduce((a, b) => (b.since ?? Infinity) < (a.since ?? Infinity) ? b : a);
    const last = all.reduce((a, b) => (b.last ?? 0) >= (a.last ?? 0) ? b : a);
    return {text, recent, before, isNew: recent > 3 * before * 2 / hours, score: recent / (before + 0.5) * hours,
      fresh: sum(all, 'recent') - recent, untimed: sum(all, 'untimed'), since: first.since, last: last.last,
      place: first.since === undefined ? {log: last.log, line: last.lastLine} :
        {log: first.log, line: first.sinceLine}};
  }).sort((a, b) => b.isNew - a.isNew || b.score - a.score || b.fresh - a.fresh ||
    (a.since ?? 0) - (b.since ?? 0) || (b.last ?? 0) - (a.last ?? 0) || b.untimed - a.untimed);
}

// What the logs say: stamps, levels, and errors grouped by their text. One pass over all of them; nothing knows the page.
const HOUR = 3600000, RECENT = 2 * HOUR, HOURS = 24;
const OWN_LOG = 'LogColltionTool.log';
const LOGS_BYTES = 512 * MIB;  // read of all logs together
const MOST_GROUPS = 5000, MOST_PLACES = 20000;  // kinds of error lines, and those in each log
const HEAD_CHARS = 200, LINE_CHARS = 1000, KIND_CHARS = 200;  // of a line: where stamp and level are, looked at, compared
const LOOK_BACK = 5;  // lines before one without a stamp that are searched for it

// ---- Stamps: milliseconds of the wall clock of the machine, as if it were UTC.
const DAY_AND_TIME = '(20\\d\\d)[-/.]?(\\d\\d)[-/.]?(\\d\\d)(?:[T ,_-]| [+-]\\d{1,2}\\.\\d )(\\d\\d):?(\\d\\d):?(\\d\\d)' +
  '(?:[.,]\\d{1,9})?(?: ?(Z\\b|[+-]\\d\\d:?\\d\\d))?';
const STAMP = new RegExp(`^(?:[\\[<(]?\\d{1,7}[\\]>):]{0,2} )?\\D{0,12}${DAY_AND_TIME}`);
const STAMP_INSIDE = new RegExp(DAY_AND_TIME);  // of JSON
const SYSLOG = /^(?:<\d{1,3}>)?(?:[A-Z][a-z]{2} )?([A-Z][a-z]{2}) {1,2}(\d\d?) (?:(20\d\d) )?(\d\d):(\d\d):(\d\d)/;
const CHROMIUM = /^(?:\[(?:\d{1,9}:\d{1,9}:)?|[IWEF])(\d\d)(\d\d)[/ ](\d\d):?(\d\d):?(\d\d)/;
const EPOCH = /^(?:\[|\{.{0,80}?"(?:ts|time|timestamp)"\s?:\s?)?(1\d{9})(?:\.?\d{3,6})?(?=[\].,} \t])/;
const MONTHS = 'JanFebMarAprMayJunJulAugSepOctNovDec';
const clockText = (time) => new Date(time).toISOString().slice(11, 19);
const stampText = (time) => new Date(time).toISOString().slice(0, 19).replace('T', ' ');
const offsetOf = (zone) => zone === 'Z' ? 0 : (zone[0] === '-' ? -1 : 1) *
  (Number(zone.slice(1, 3)) * HOUR + Number(zone.slice(-2)) * HOUR / 60);
/** A stamp without a year belongs to the last year in which it is not in the future. */
function inYear(end, month, day, hour, minute, second) {
  const time = Date.UTC(new Date(end).getUTCFullYear(), month - 1, day, hour, minute, second);
  return time <= end + 48 * HOUR ? time : Date.UTC(new Date(end).getUTCFullYear() - 1, month - 1, day, hour, minute, second);
}
/** The stamp at the beginning of a line: {time, length}, undefined when there is none. `clock` is {end, zone}: when the
 * archive was made, and how far that machine's clock was ahead of UTC, undefined when that is not known. */
function stampOf(line, clock) {
  const head = line.slice(0, HEAD_CHARS), isJson = head[0] === '{';
  let found = (isJson ? STAMP_INSIDE : STAMP).exec(head);
  if (found) {
    const [whole, year, month, day, hour, minute, second, zone] = found;
    const shift = zone && clock.zone !== undefined ? clock.zone - offsetOf(zone) : 0;
    const time = Date.UTC(year, month - 1, day, hour, minute, second) + shift;
    return month < 13 && day < 32 ? {time, zone, length: isJson ? 0 : whole.length} : undefined;
  }
  if ((found = CHROMIUM.exec(head))) {
    const [whole, month, day, hour, minute, second] = found;
    return month < 13 && day < 32 ? {time: inYear(clock.end, month, day, hour, minute, second), length: whole.length} : undefined;
  }
  if ((found = SYSLOG.exec(head))) {
    const [whole, name, day, year, hour, minute, second] = found, month = MONTHS.indexOf(name) / 3 + 1;
    if (!Number.isInteger(month) || month < 1) return undefined;
    return {time: year ? Date.UTC(year, month - 1, day, hour, minute, second) :
      inYear(clock.end, month, day, hour, minute, second), length: whole.length};
  }
  found = EPOCH.exec(head);
  return found ? {time: found[1] * 1000 + (clock.zone ?? 0), length: isJson ? 0 : found[0].length} : undefined;
}
/** The time of the line that begins at `start`, or of the last one before it that has a stamp. */
function timeAt(text, start, clock) {
  for (let i = 0, at = start; i <= LOOK_BACK; ++i, at = text.lastIndexOf('\n', at - 2) + 1) {
    const stamp = stampOf(text.slice(at, at + HEAD_CHARS), clock);
    if (stamp) return stamp.time;
    if (at === 0) break;
  }
  return undefined;
}

// ---- Levels: 2 for an error, 1 for a warning, else 0. A field of the line decides; words do where there is none.
const ERRORS = ['error', 'err', 'fault', 'fatal', 'critical', 'crit', 'severe', 'alert', 'emergency', 'emerg', 'panic'];
const WARNINGS = ['warning', 'warn'];
const OTHERS = ['trace', 'verbose', 'debug', 'info', 'information', 'notice'];
const anyOf = (...cases) => [...ERRORS, ...WARNINGS, ...OTHERS].flatMap((word) => cases.map((change) => change(word))).join('|');
const [UPPER, LOWER, CAPITAL] = [(word) => word.toUpperCase(), (word) => word, (word) => word[0].toUpperCase() + word.slice(1)];
const FIELD = new RegExp([
  `[\\[<(|](${anyOf(UPPER, LOWER, CAPITAL)}|[TVDIWEF])[\\]>)|]`,  // [error] <Error> |E|
  `:(${anyOf(UPPER)}):`,  // Chromium
  `(?:level|lvl|severity|levelname)"?\\s?[=:]\\s?"?(${anyOf(UPPER, LOWER, CAPITAL)}|\\d\\d)\\b`,  // JSON, logfmt
  `(?<=^|[\\d\\])>] {1,9})(${anyOf(UPPER, LOWER, CAPITAL)}):\\s`,  // after the stamp, with a colon
  `(?<=[\\da-f\\])>]\\s{1,12})(${anyOf(UPPER, CAPITAL)}|Default|Activity)\\s`,  // a column after stamp or number
  `(?<=[\\s\\])>])(?<!\\b(?:0|[Nn]o) )(${anyOf(UPPER)})[\\s\\])>:]`,
  '^([IWEF])(?=\\d{4} )'].join('|'));
const WORDS = new RegExp('(?<!\\b(?:0|no|not|without|zero) )\\b(?:errors?|err|fatal|critical|panic(?:ked)?|fail(?:s|ed|ure|ures)?|' +
  'fault|exception|abort(?:ed)?|crash(?:ed)?|refused|denied|timed out|unreachable|expired|corrupt(?:ed)?|malformed|servfail)\\b' +
  '(?![-/]|\\.\\w|["\']?\\s?[:=]\\s?["\']?(?:none|nil|null|no|false|0|ok|success)\\b)', 'i');
/** What a line must have to be a warning or an error: most have it not, and are passed over at once. */
const SUSPECT = new RegExp('err|warn|fa(?:il|tal)|(?<!de)fault|crit|severe|alert|emerg|panic|exception|abort|crash|refused|denied|' +
  'timed out|unreachable|expired|corrupt|malformed|[\\[<(|][EFW][\\]>)|]|level"?\\s?[=:]\\s?[456]0|(?:^|\\n)[EFW]\\d{4} ', 'gi');
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
  return line.slice(length).replace(/^(?:[\s\])>:|,-]|\[[\d:]{1,20}\]|0x[\da-f]{1,16}\b|\d{1,12}\s)+/i, '');
}
/** Copies a text, so that it does not keep the block that it was taken from. */
const copied = (text) => text.split('').join('');
const newLog = (entry) => ({entry, lines: 0, errors: 0, recent: 0, read: 0, fault: '', begin: undefined, last: undefined,
  hours: Array.from({length: HOURS}, () => ({lines: 0, errors: 0, line: 0}))});
const newState = (clock) => ({clock, logs: [], groups: new Map(), places: 0, others: 0});
const hourOf = (log, time, {end}) => log.hours[HOURS - 1 - Math.max(0, Math.floor(end / HOUR) - Math.floor(time / HOUR))];

/** Adds the lines of a block to the hours of its log: at once where the block begins and ends in the same hour. */
function countHours(text, line, log, clock) {
  const lines = linesIn(text) || 1, near = [];
  for (let at = 0, i = 0; i < LOOK_BACK && at < text.length; at = text.indexOf('\n', at) + 1 || text.length, ++i)
    near.push(stampOf(text.slice(at, at + HEAD_CHARS), clock));
  const first = near.find((stamp) => stamp)?.time, last = timeAt(text, text.lastIndexOf('\n', text.length - 2) + 1, clock);
  log.lines += lines;
  clock.zone ??= near.find((stamp) => stamp?.zone && stamp.zone !== 'Z') && /system_wide/.test(log.entry.name) ?
    offsetOf(near.find((stamp) => stamp?.zone).zone) : undefined;
  log.begin ??= first ?? last;
  const add = (time, number, count) => {
    const hour = time !== undefined && hourOf(log, time, clock);
    if (hour) [hour.lines, hour.line] = [hour.lines + count, hour.line || number];
  };
  if (first === undefined || last === undefined || Math.floor(first / HOUR) === Math.floor(last / HOUR)) {
    add(first ?? last ?? log.last, line, lines);
  } else {
    let time = log.last ?? first, prefix = '';
    for (let at = 0, number = line; at < text.length; at = text.indexOf('\n', at) + 1 || text.length, ++number) {
      // Most lines have the same minute as the one before.
      if (!prefix || !text.startsWith(prefix, at)) {
        const stamp = stampOf(text.slice(at, at + HEAD_CHARS), clock);
        if (stamp) [time, prefix] = [stamp.time, stamp.length > 18 ? text.slice(at, at + 17) : ''];
      }
      add(time, number, 1);
    }
  }
  log.last = last ?? first ?? log.last;
}
/** Adds an error or a warning to the group of those that say the same. */
function addToGroup(state, level, said, log, line, time) {
  const key = level + said.slice(0, KIND_CHARS).replace(NUMBERS, '#');
  let group = state.groups.get(key);
  if (!group && state.groups.size >= MOST_GROUPS) return void ++state.others;
  if (!group) state.groups.set(key, group = {level, text: copied(said), places: new Map()});
  let place = group.places.get(log);
  if (!place && ++state.places > MOST_PLACES) return void ++state.others;
  if (!place) group.places.set(log, place = {log, line, time, recent: 0, before: 0, untimed: 0});
  const kind = time === undefined ? 'untimed' : time > state.clock.end - RECENT ? 'recent' : 'before';
  if (kind === 'recent' && !place.recent) [place.since, place.sinceLine] = [time, line];
  ++place[kind];
  [place.last, place.lastLine] = [time, line];
}
/** Looks through a block of lines, the first of which has this number. */
function lookThrough(text, line, log, state) {
  const {clock} = state;
  const before = log.last;
  countHours(text, line, log, clock);
  let number = line, at = 0, time = before;
  SUSPECT.lastIndex = 0;
  for (let found; (found = SUSPECT.exec(text));) {
    const start = text.lastIndexOf('\n', found[0][0] === '\n' ? found.index : found.index - 1) + 1 || 0;
    const newline = text.indexOf('\n', found.index + 1), stop = newline < 0 ? text.length : newline;
    SUSPECT.lastIndex = stop;
    const whole = text.slice(start, Math.min(stop, start + LINE_CHARS)), {level, length} = levelOf(whole);
    if (!level) continue;
    [number, at] = [number + linesIn(text, at, start), start];
    const stamp = stampOf(whole, clock);
    time = stamp?.time ?? timeAt(text, start, clock) ?? time;
    addToGroup(state, level, messageOf(whole, Math.max(length, stamp?.length ?? 0)).slice(0, 300).trim(), log, number, time);
    if (level < 2) continue;
    ++log.errors;
    if (time > clock.end - RECENT) ++log.recent;
    const hour = time !== undefined && hourOf(log, time, clock);
    if (hour && !hour.errors++) hour.line = number;
  }
}

// ---- Which logs, in which order, and what is new in them.
const isLog = ({name}) => /(?:\.(?:log|txt|xlog|back|old|out|err)|\.log\.\w{1,12}|\/[^./]+)$/i.test(name) ||
  /^logs\/.*\.json$/i.test(name);
const isOwn = ({name}) => /(?:^|\/)(?:LogColltionTool[^/]*|system_(?:info|state))\.log$/.test(name);
const familyOf = (name) => name.replace(/[\d._-]*\d(?=[^/]*$)|\.(?:old|back)$/gi, '');
/** The logs of an archive: the likeliest first, which are small current ones of the client. */
function logsOf(entries) {
  const order = [/^logs\/system_wide/, /^logs\/(?!uem_|OKVU\/)[^/]+\/.*\.log$/i, /^logs\/(?!OKVU)/, /^system\//, /^logs\//];
  const rank = ({name}) => {
    const at = order.findIndex((like) => like.test(name)), isRotated = /\.(?:old|back|\d+)$|\d\.\w+$/i.test(name);
    return (at < 0 ? order.length : at) + (isRotated ? 0.5 : 0);
  };
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
    } catch (error) {
      log.fault = sentence(error);
    }
    left -= log.kind ? 0 : Math.max(log.read, Math.min(entry.size, left));
    told(state);
  }
}
/** The groups of a level, those first that come much more often in the last two hours than before. What began only within
 * these, with its log, comes last: nothing tells what is new there. */
function ranked(state, level) {
  const from = state.clock.end - RECENT, begins = new Map();
  for (const {entry, begin} of state.logs)
    if (begin !== undefined) begins.set(familyOf(entry.name), Math.min(begin, begins.get(familyOf(entry.name)) ?? Infinity));
  return [...state.groups.values()].filter((group) => group.level === level).map(({text, places}) => {
    const all = [...places.values()], beginOf = ({log}) => begins.get(familyOf(log.entry.name)) ?? Infinity;
    const old = all.filter((place) => beginOf(place) < from), recent = sum(old, 'recent'), before = sum(old, 'before');
    const hours = Math.max(0.25, ...old.map((place) => (from - beginOf(place)) / HOUR));
    const since = all.reduce((a, b) => (b.since ?? Infinity) < (a.since ?? Infinity) ? b : a);
    const last = all.reduce((a, b) => (b.last ?? 0) >= (a.last ?? 0) ? b : a);
    return {text, recent, before, isNew: recent > 3 * before * 2 / hours, score: recent / (before + 0.5) * hours,
      fresh: sum(all, 'recent') - recent, untimed: sum(all, 'untimed'), since: since.since, last: last.last,
      place: since.since === undefined ? {log: last.log, line: last.lastLine} : {log: since.log, line: since.sinceLine}};
  }).sort((a, b) => b.isNew - a.isNew || b.score - a.score || b.fresh - a.fresh ||
    (a.since ?? 0) - (b.since ?? 0) || (b.last ?? 0) - (a.last ?? 0) || b.untimed - a.untimed);
}

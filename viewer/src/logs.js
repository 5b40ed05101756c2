// What the logs say: stamps, levels, and errors grouped by their text, in one pass. Nothing here knows the page.
const HOUR = 3600000, DAY = 24 * HOUR, RECENT = 2 * HOUR, HOURS = 24;
const HEAD_CHARS = 200, LINE_CHARS = 1000, KIND_CHARS = 200;  // of a line: its stamp and level, looked at, compared

// ---- Stamps: milliseconds of the wall clock of the machine, as if it were UTC.
const CLOCK = '(?<h>\\d\\d):?(?<min>\\d\\d):?(?<s>\\d\\d)';
const DATE = '(?<y>20\\d\\d)[-/.]?(?<m>\\d\\d)[-/.]?(?<d>\\d\\d)(?:[T ,_-]| [+-]\\d{1,2}\\.\\d )' +
  `${CLOCK}(?:[.,]\\d{1,9})?(?: ?(?<zone>Z\\b|[+-]\\d\\d:?\\d\\d))?`;
const STAMPS = [
  `^(?:[\\[<(]?\\d{1,7}[\\]>):]{0,2} )?\\D{0,12}${DATE}`,
  `^\\{.*?${DATE}`,
  `^(?:\\[(?:\\d{1,9}:\\d{1,9}:)?|[IWEF])(?<m>\\d\\d)(?<d>\\d\\d)[/ ]${CLOCK}`,  // Chromium
  `^(?:<\\d{1,3}>)?(?:[A-Z][a-z]{2} )?(?<month>[A-Z][a-z]{2}) {1,2}(?<d>\\d\\d?) (?:(?<y>20\\d\\d) )?${CLOCK}`,
  '^(?:\\[|\\{.{0,80}?"(?:ts|time|timestamp)"\\s?:\\s?)?(?<epoch>1\\d{9})(?:\\.?\\d{3,6})?(?=[\\].,} \\t])',
].map((like) => new RegExp(like));
const MONTHS = 'JanFebMarAprMayJunJulAugSepOctNovDec';
const stampText = (time) => new Date(time).toISOString().slice(0, 19).replace('T', ' ');
const clockText = (time) => stampText(time).slice(11);
const offsetOf = (zone) => zone === 'Z' ? 0 :
  (zone[0] === '-' ? -1 : 1) * (Number(zone.slice(1, 3)) + Number(zone.slice(-2)) / 60) * HOUR;
/** The stamp at the beginning of a line: {time, offset, length}, undefined when there is none. `clock` is {end, zone}:
 * when the archive was made, and how far that machine's clock was ahead of UTC, undefined when that is not known. */
function stampOf(line, clock) {
  const head = line.slice(0, HEAD_CHARS), found = STAMPS.reduce((done, like) => done ?? like.exec(head), null);
  if (!found) return undefined;
  const {y, m, month, d, h, min, s, zone, epoch} = found.groups, length = found[0].length;
  if (epoch) return {time: epoch * 1000 + (clock.zone ?? 0), length};
  const monthNumber = m ? m - 1 : MONTHS.indexOf(month) / 3, last = new Date(clock.end).getUTCFullYear();
  if (!(monthNumber >= 0 && monthNumber < 12 && d < 32)) return undefined;
  const at = (year) => Date.UTC(year, monthNumber, d, h, min, s), offset = zone && offsetOf(zone);
  // Without a year it is the last one in which the day is not to come.
  const time = at(y ?? (at(last) <= clock.end + 2 * DAY ? last : last - 1));
  return {time: zone && clock.zone !== undefined ? time + clock.zone - offset : time, offset, length};
}

// ---- Levels: 2 for an error, 1 for a warning, else 0. A field of the line decides; words do where there is none.
const LEVELS = ['trace verbose debug info information notice', 'warning warn w',
  'error err fault fatal critical crit severe alert emergency emerg panic e f'].map((names) => names.split(' '));
const LOW = LEVELS.flat().filter((name) => name.length > 1).join('|'), UP = LOW.toUpperCase();
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
/** What a warning or an error must have: most lines have it not. The second is for levels of a letter or a number. */
const STEMS = 'err|warn|fa(?:il|tal|ult)|crit|severe|alert|emerg|panic|exception|abort|crash|' +
  'refused|denied|timed out|unreachable|expired|corrupt|malformed';
const SUSPECT = [STEMS, `${STEMS}|level.{1,4}[456]0|[efw](?:[\\]>)|]|\\d{4} )`].map((like) => new RegExp(like, 'gi'));
const SHORT_LEVELS = /[[<(|][TVDIWEF][\]>)|]|level.{1,4}[1-6]0|^[IWEF]\d{4} /m;
const levelNamed = (field) => /^\d/.test(field) ? (field < 40 ? 0 : field < 50 ? 1 : 2) :
  Math.max(0, LEVELS.findIndex((names) => names.includes(field.toLowerCase())));
function levelOf(line) {
  const found = FIELD.exec(line.slice(0, HEAD_CHARS));
  if (!found) return {level: WORDS.test(line.slice(0, LINE_CHARS)) ? 2 : 0, length: 0};
  return {level: levelNamed(found.slice(1).find((part) => part)), length: found.index + found[0].length};
}

// ---- Groups of lines that say the same.
const SAID = /"(?:msg|message|error|event)"\s?:\s?"((?:[^"\\]|\\.){1,300})/;
const NUMBERS = /\b[\da-fx]*\d[\da-f.:%-]*/gi;
/** What a line says: without stamp, level and the numbers and signs after them; in JSON its message. */
function messageOf(line, length) {
  if (line[0] === '{') return SAID.exec(line)?.[1] ?? line.slice(0, 300).trim();
  const said = line.slice(length).replace(/^(?:[\s\])>:|,-]|\[[\d:]{1,20}\]|0x[\da-f]{1,16}\b|\d{1,12}\s)+/i, '');
  return said.slice(0, 300).trim();
}
const newLog = (entry) => ({entry, errors: 0, recent: 0, read: 0, unstamped: 0, fault: '',
  hours: Array.from({length: HOURS}, () => ({lines: 0, errors: 0, line: 0}))});
const newState = (clock) => ({clock, logs: [], groups: new Map(), places: 0, others: 0});
const hourOf = (log, time, {end}) =>
  log.hours[HOURS - 1 - Math.max(0, Math.floor(end / HOUR) - Math.floor(time / HOUR))];

/** Counts a line that is an error or a warning, and adds it to its group. */
function addLine(text, line, log, state) {
  const {level, length} = levelOf(text), {clock, groups} = state;
  if (!level) return;
  const stamp = stampOf(text, clock), time = stamp?.time ?? log.time, isRecent = time > clock.end - RECENT;
  if (level > 1) {
    const hour = hourOf(log, time, clock);
    ++log.errors;
    if (isRecent) ++log.recent;
    if (hour && !hour.errors++) hour.line = line;
  }
  const said = messageOf(text, Math.max(length, stamp?.length ?? 0));
  const key = level + said.slice(0, KIND_CHARS).replace(NUMBERS, '#');
  const group = groups.get(key) ?? {level, text: copied(said), places: new Map()};
  const place = group.places.get(log) ?? {log, recent: 0, before: 0, untimed: 0};
  if (!place.line) {
    if (state.places >= 20000) return void ++state.others;  // more would fill the memory
    groups.set(key, group);
    group.places.set(log, place);
    ++state.places;
  }
  if (!place.recent) [place.line, place.since] = [line, isRecent ? time : undefined];
  ++place[time === undefined ? 'untimed' : isRecent ? 'recent' : 'before'];
}
function readTime(text, log, clock) {
  const stamp = stampOf(text, clock);
  if (!stamp) return void ++log.unstamped;
  if (stamp.offset && /system_wide/.test(log.entry.name)) clock.zone ??= stamp.offset;
  log.begin ??= stamp.time;
  log.minute = /^.*:\d\d:/.exec(copied(text.slice(0, stamp.length)))?.[0];
  [log.time, log.hour, log.unstamped] = [stamp.time, hourOf(log, stamp.time, clock), 0];
}
/** Looks through a block of lines, the first of which has this number. */
function lookThrough(text, line, log, state) {
  const pattern = log.suspect ??= SUSPECT[SHORT_LEVELS.test(text) ? 1 : 0];
  for (let at = 0, stop, suspect = -1; at < text.length; at = stop + 1, ++line) {
    stop = text.indexOf('\n', at);
    if (stop < 0) stop = text.length;
    // Most lines have the minute of the one before; where a hundred had no stamp, few are asked.
    if ((!log.minute || !text.startsWith(log.minute, at)) && (log.unstamped < 100 || line % 64 === 0))
      readTime(text.slice(at, Math.min(stop, at + HEAD_CHARS)), log, state.clock);
    if (log.hour && !log.hour.lines++) log.hour.line ||= line;
    if (suspect < at) {
      pattern.lastIndex = at;
      suspect = pattern.exec(text)?.index ?? Infinity;
    }
    if (suspect < stop) addLine(text.slice(at, Math.min(stop, at + LINE_CHARS)), line, log, state);
  }
}

// ---- Which logs, in which order, and what is new in them.
const OWN_LOG = 'LogColltionTool.log';
const isLog = ({name}) => /(?:\.(?:log|txt|xlog|back|old|out|err)|\.log\.\w{1,12}|\/[^./]+)$/i.test(name) ||
  /^logs\/.*\.json$/i.test(name);
const isOwn = ({name}) => /(?:^|\/)(?:LogColltionTool[^/]*|system_(?:info|state))\.log$/.test(name);
/** The name that a log has in common with those that it was moved to. */
const familyOf = (name) => name.slice(-300).replace(/[._-]?\d{1,30}|\.(?:old|back)$/gi, '');
const ORDER = [/^logs\/system_wide/, /^logs\/(?!uem_|OKVU\/)[^/]+\/.*\.log$/i, /^logs\/(?!OKVU)/, /^system\//,
  /^logs\//, /^/];
/** The logs of an archive: the likeliest first, which are small current ones of the client. */
function logsOf(entries) {
  const isMoved = /\.(?:old|back|\d+)$|\d\.\w+$/i;
  const rank = ({name}) => ORDER.findIndex((like) => like.test(name)) + (isMoved.test(name) ? 0.5 : 0);
  return entries.filter((entry) => entry.size && isLog(entry) && !isOwn(entry))
    .map((entry) => [rank(entry), entry]).sort(([a, x], [b, y]) => a - b || x.size - y.size).map(([, entry]) => entry);
}
/** Reads all logs once into a state; `isCurrent` tells whether that is still wanted. */
async function readLogs(file, entries, state, isCurrent) {
  let left = 512 * MIB;
  for (const entry of logsOf(entries)) {
    const log = newLog(entry);
    state.logs.push(log);
    try {
      for await (const {text, line, kind} of textOf(file, entry, left)) {
        if (!isCurrent()) return;
        if (kind) { log.kind = kind; break; }
        log.read += text.length;
        lookThrough(text, line, log, state);
      }
    } catch (error) { log.fault = sentence(error); }
    left -= log.read;
  }
}
/** The groups of a level by age: 'new' are those that come much more often in the last two hours than before, 'fresh'
 * those in logs that begin within these, where nothing tells what is new, 'old' the others. */
function ranked(state, level) {
  const {end} = state.clock, from = end - RECENT, begins = new Map();
  const beginOf = ({log}) => begins.get(familyOf(log.entry.name)) ?? Infinity;
  for (const log of state.logs) begins.set(familyOf(log.entry.name), Math.min(log.begin ?? Infinity, beginOf({log})));
  const groups = [...state.groups.values()].filter((group) => group.level === level).map(({text, places}) => {
    const all = [...places.values()], old = all.filter((place) => beginOf(place) < from);
    const recent = sum(old, 'recent'), before = sum(old, 'before'), fresh = sum(all, 'recent') - recent;
    const hours = Math.max(0.25, ...old.map((place) => (from - beginOf(place)) / HOUR));
    const age = recent > 3 * before * 2 / hours ? 'new' : fresh ? 'fresh' : 'old';
    const [place] = all.sort((a, b) => (a.since ?? end) - (b.since ?? end));
    return {text, age, recent, before, fresh, untimed: sum(all, 'untimed'), place,
      score: recent / (before + 0.5) * hours};
  });
  return groups.sort((a, b) =>
    b.score - a.score || b.fresh - a.fresh || a.place.since - b.place.since || b.before - a.before);
}

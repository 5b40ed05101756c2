// When: the tool's run, if something in it did not end, and the collected logs on the last day.
const MOST_LOGS = 40;  // rows of the day at first
/** The parts of a run: name, beginning of the first and the last record, and of the record of a time-out. */
const INFO = 'collectSystemInfo', STATE = 'collectSystemStateForUem', WIDE = 'collectSystemWideLog';
const WAIT = 'wait for uem';
const SPANS = [['system information', `wait for ${INFO} ...`, `wait for ${INFO} done`, `Exec ${INFO} is timeout`],
  ['tunnel dump', 'begin dump trust xtunnel', 'end dump trust xtunnel'],
  ['running logs', 'begin collect running log', 'end collect running log'],
  ['state report', `${STATE} start`, `${STATE} collect`, `Exec ${STATE} is timeout`],
  ['unified log', `${WIDE} start`, `${WIDE} done`, `Exec ${WIDE} is timeout`],
  ['… waiting for the state report', `${WAIT} collect system state log`, `${WAIT} collect system state done`],
  ['… waiting for the unified log', `${WAIT} collect system log`, `${WAIT} collect system done`]];
const spansOf = ({records}) => SPANS.flatMap(([name, ...words]) => {
  const [begin, end, timeout] = words.map((word, i) =>
    records[i === 1 ? 'findLast' : 'find'](({message}) => message.startsWith(word)));
  const to = Math.max(begin?.time, (timeout ?? end ?? records.at(-1))?.time);
  return begin ? [{name, seconds: (to - begin.time) / 1000, isEnded: !!end && !timeout}] : [];
});
/** One row for a log: in each hour the number of errors, which opens the log at the first of them. */
function dayRow({entry, hours, errors, recent}) {
  const cell = (hour) => !hour.lines && !hour.errors ? '' : button(hour.errors ? `${hour.errors}` : '·',
    () => view(entry, {line: hour.line}), {className: hour.errors ? 'error' : 'faint',
      title: `${counted(hour.errors, 'error')} in ${counted(hour.lines, 'line')}`});
  return tableRow([place({entry}), `${recent}`, `${errors}`, ...hours.map(cell)]);
}
/** Shows what the logs' state tells by now. */
function showTimeline() {
  const {run, state: {logs, others}, clock: {end}} = archive, spans = spansOf(run);
  const day = logs.filter(({hours}) => hours.some(({lines}) => lines)).sort((a, b) => b.recent - a.recent ||
    b.errors - a.errors || sum(b.hours, 'lines') - sum(a.hours, 'lines'));
  const hours = Array.from({length: HOURS}, (_, i) => `${(new Date(end).getUTCHours() + i + 1) % HOURS}`);
  const isUnread = ({fault}) => fault === 'not read', most = Math.max(1, ...spans.map(({seconds}) => seconds));
  const told = [['Without a date in their lines', (log) => log.begin === undefined && !log.fault && !log.kind],
    ['Not read, for their size', isUnread], ['Not read to their end, or damaged', (log) => log.fault && !isUnread(log)],
    ['No text', ({kind}) => kind]].map(([text, like]) => [text, logs.filter(like).map(({entry}) => entry)]);
  fill('timeline', 'When', spans.every(({isEnded}) => isEnded) ? '' : table(['Part of the run', 'Seconds', ''], spans,
    ({name, seconds, isEnded}) => tableRow([name, `${seconds.toFixed(1)}${isEnded ? '' : ', no end'}`,
      make('progress', {value: seconds / most})])),
  day.length ? [make('p.faint', `Errors in each hour of the day before ${stampText(end)}`),
    table(['Log', 'Last 2 h', 'All', ...hours], day, dayRow, '.day', MOST_LOGS)] : make('p', 'No log has a time.'),
  told.filter(([, list]) => list.length).map(([text, list]) => make('p.faint', `${text}: ${named(list)}.`)),
  others ? make('p.faint', `${counted(others, 'line')} of more kinds of errors than are kept.`) : '');
}

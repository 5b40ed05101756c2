// When: the tool's run, if something in it timed out, and the collected logs on the last day.
/** Where a run in which something timed out has waited: [record, seconds until the next one]. */
function waitsOf({records}) {
  if (!records.some(({message}) => /^Exec \w+ is timeout/.test(message))) return [];
  return records.slice(1).map(({time}, i) => [records[i], (time - records[i].time) / 1000]).filter(([, s]) => s > 1);
}
/** One row for a log: in each hour the number of errors, which opens the log at the first of them. */
function dayRow({entry, hours, errors, recent}) {
  const cell = (hour) => !hour.lines && !hour.errors ? '' : button(hour.errors ? `${hour.errors}` : '·',
    () => view(entry, hour.line), {className: hour.errors ? 'error' : 'faint'});
  return tableRow([place({entry}), `${recent}`, `${errors}`, ...hours.map(cell)]);
}
function showTimeline() {
  const {run, state: {logs, others}, clock: {end}} = archive, waits = waitsOf(run);
  const day = logs.filter(({hours}) => sum(hours, 'lines')).sort((a, b) => b.recent - a.recent || b.errors - a.errors);
  const hours = Array.from({length: HOURS}, (_, i) => `${(new Date(end).getUTCHours() + i + 1) % HOURS}`);
  const list = (title, found) =>
    found.length ? make('p.faint', `${title}: ${named(found.map(({entry}) => entry))}.`) : '';
  fill('timeline', 'When', waits.length ? table(['The tool waited', 'after'], waits, ([{message}, seconds]) =>
    tableRow([`${seconds.toFixed(1)} s`, make('code', visible(message.slice(0, 200)))])) : '',
  day.length ? [make('p.faint', `Errors in each hour of the day before ${stampText(end)}`),
    table(['Log', 'Last 2 h', 'All', ...hours], day, dayRow, '.day', 40)] : make('p', 'No log has a time.'),
  list('Without a date in their lines', logs.filter((log) => log.begin === undefined && !log.fault && !log.kind)),
  list('Not read, or not to the end', logs.filter(({fault}) => fault)), list('No text', logs.filter(({kind}) => kind)),
  others ? make('p.faint', `${counted(others, 'line')} of more kinds of errors than are kept.`) : '');
}

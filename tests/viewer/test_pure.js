// The parts of the page that only compute, with Node's own test runner: node --test tests/viewer/test_pure.js
'use strict';
const {deepStrictEqual} = require('node:assert'), {readFileSync} = require('node:fs'), {test} = require('node:test');
const sources = ['zip', 'text', 'logs', 'findings'].map((name) =>
  readFileSync(`${__dirname}/../../viewer/src/${name}.js`, 'utf8'));
const part = new Function(`${sources.join('\n')}\nreturn {levelOf, stampOf, stampText, newState, newLog, lookThrough,
  ranked, sectionsOf, modulesOf, visible, readDirectory};`)();
const END = Date.UTC(2026, 10, 21, 18, 45, 31), clock = {end: END, zone: 3600000};

test('levels and stamps of lines: the field decides, words where there is none', () => {
  const told = readFileSync(`${__dirname}/lines.txt`, 'utf8');
  deepStrictEqual(told.replace(/^\d \S+ \S+ {2}(.*)/gm, (_, line) => {
    const stamp = part.stampOf(line, clock);
    return `${part.levelOf(line).level} ${stamp ? part.stampText(stamp.time) : 'no stamp'}  ${line}`;
  }), told);
});
test('groups: what is new comes first; what began with its log is told apart', () => {
  const state = part.newState(clock), lines = (from, step, text) => Array.from({length: from / step}, (_, i) =>
    `${part.stampText(END - (from - step * i) * 60000)} [error] ${text.replace('#', i)}\n`).join('');
  const logs = {'logs/a/c.1.log': lines(1200, 20, 'noise #'), 'logs/a/c.log': lines(50, 10, 'from 10.0.0.#: gone'),
    'logs/a/f.log': lines(100, 10, 'just begun #')};
  for (const [name, text] of Object.entries(logs)) {
    state.logs.push(part.newLog({name}));
    part.lookThrough(text, 1, state.logs.at(-1), state);
  }
  deepStrictEqual(part.ranked(state, 2).map(({text, age, recent, before, fresh, place: {log, line}}) =>
    [text, age, recent, before, fresh, log.entry.name, line]), [
    ['from 10.0.0.0: gone', 'new', 5, 0, 0, 'logs/a/c.log', 1],
    ['noise 0', 'old', 5, 55, 0, 'logs/a/c.1.log', 56], ['just begun 0', 'fresh', 0, 0, 10, 'logs/a/f.log', 1]]);
  deepStrictEqual(state.logs.map(({errors, recent, hours}) => [errors, recent, hours.at(-1)]), [
    [60, 5, {lines: 2, errors: 2, line: 59}], [5, 5, {lines: 4, errors: 4, line: 2}],
    [10, 10, {lines: 4, errors: 4, line: 7}]]);
});
test('sections and modules, whatever they end in', () => {
  const banner = (title) => `${'='.repeat(34)} ${title} ${'='.repeat(34)}`;
  const told = (sections) => sections.map(({title, lines, line}) => [title, lines, line]);
  const modules = (dump) => told(part.modulesOf(
    {records: [{message: `xtunnel dump:\n${dump}`, line: 3}]}, undefined, ['DNS', 'VNIC']));
  deepStrictEqual(told(part.sectionsOf(`${banner('a')}\nx\n\ny${banner('b')}\n${banner('c')}\nz`)),
    [['a', ['x', '', 'y'], 2], ['b', [], 5], ['c', ['z'], 6]]);
  deepStrictEqual(modules('head\n[DNS] up\n\nVNIC: none'),
    [['dump', ['head'], 4], ['DNS', ['[DNS] up', ''], 5], ['VNIC', ['VNIC: none'], 7]]);
  deepStrictEqual(modules('{"DNS": {"state": "up"}}'), [['DNS', ['{', '  "state": "up"', '}'], 4]]);
});
test('names that would act, hide or turn are made visible, a directory that is cut short is told', async () => {
  deepStrictEqual(part.visible('a\u00ad\u202e\u{e0041}\u3164\x1b\t\u2028'), 'a<ad><202e><e0041><3164>·\t<2028>');
  const whole = Buffer.from('UEsDBAoAAAAAAAAAAACGphA2BQAAAAUAAAAFAAAAYS50eHRoZWxsb1BLAQIKAAoAAAAAAAAAAACGphA2BQAAAAU' +
    'AAAAFAAAAAAAAAAAAAAAAAAAAAABhLnR4dFBLBQYAAAAAAQABADMAAAAoAAAAAAA=', 'base64');
  whole.writeUInt16LE(9, whole.length - 12);
  const {entries, notes} = await part.readDirectory(new Blob([whole]));
  deepStrictEqual([entries.map(({name, size}) => [name, size]), notes.flat()],
    [[['a.txt', 5]],
      ['', 'Its directory is damaged or too large: of 9 files it names 1.']]);
});

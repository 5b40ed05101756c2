// The parts of the page that only compute, with Node's own test runner: node --test tests/viewer/test_pure.js
'use strict';
const {deepStrictEqual} = require('node:assert'), fs = require('node:fs'), path = require('node:path'), {test} = require('node:test');
const sources = ['zip', 'text', 'logs', 'findings'].map((name) =>
  fs.readFileSync(path.join(__dirname, '../../viewer/src', `${name}.js`), 'utf8'));
const names = 'levelOf stampOf stampText newState newLog lookThrough ranked sectionsOf modulesOf visible kindOf parseJson readDirectory contentOf';
const part = new Function(`${sources.join('\n')}\nreturn {${names.replaceAll(' ', ', ')}};`)();
const END = Date.UTC(2026, 10, 21, 18, 45, 31), clock = {end: END, zone: 3600000};
const same = (cases, told) => deepStrictEqual(Object.fromEntries(Object.keys(cases).map((line) => [line, told(line)])), cases);

test('levels: the field decides, words where there is none', () => same({'[2026-11-21 18:45:31.123] [error] [7] x': 2,
  '[2026-11-21 18:45:31.123] [info] an error': 0, 'x <Error>: y': 2, '2026-11-21 18:45:31.1+0100 0x1a   Fault   0x0 x': 2,
  '2026-11-21 18:45:31.1+0100 0x1a   Default   0x0 failed': 0, '[1121/184531.123:ERROR:a.cc(1)] x': 2,
  '[1121/184531.123:INFO:a.cc(1)] failed': 0, '{"level":"error","msg":"x"}': 2, '{"level":30,"msg":"failed"}': 0,
  '{"time":1,"level":50}': 2, 'ts=1 level=warn msg=failed': 1, '18:45:31 warning: x failed': 1, '2026-11-21 18:45:31 WARN x': 1,
  'E1121 18:45:31.1 7 a.cc:1] x': 2, 'connect failed': 2, '0 errors': 0, 'no error': 0, 'error: none': 0, 'errors=0': 0,
  'lastError: timed out': 2, 'see error.log': 0, '10 errors': 2, 'all is well': 0}, (line) => part.levelOf(line).level));
test('stamps: wall clock of the machine', () => same({'[2026-11-21 18:45:31.123] x': END, '2026-11-21T17:45:31Z x': END,
  '2026-11-21 18:45:31.123456+0100 x': END, '<14>Nov 21 18:45:31 host x': END, '[1121/184531.123:ERROR:a] x': END,
  '{"msg":"x","ts":"2026-11-21T17:45:31.5Z"}': END, '1795283131 x': END, 'I1121 18:45:31.1 x': END, 'no stamp': undefined,
  'Dec 24 18:45:31 x': Date.UTC(2025, 11, 24, 18, 45, 31), 'build 20269999 x': undefined}, (line) => part.stampOf(line, clock)?.time));
test('groups: what is new comes first, what began with its log last', () => {
  const state = part.newState(clock), lines = (from, to, step, text) => Array.from({length: (from - to) / step}, (_, i) =>
    `${part.stampText(END - (from - step * i) * 60000)} [error] ${text.replace('#', i)}\n`).join('');
  const logs = {'logs/a/c.1.log': lines(1200, 0, 20, 'noise #'), 'logs/a/c.log': lines(50, 0, 10, 'from 10.0.0.#: gone'),
    'logs/a/f.log': lines(100, 0, 10, 'just begun #')};
  for (const [name, text] of Object.entries(logs)) {
    state.logs.push(part.newLog({name}));
    part.lookThrough(text, 1, state.logs.at(-1), state);
  }
  deepStrictEqual(part.ranked(state, 2).map(({text, isNew, recent, before, fresh, place}) =>
    [text, isNew, recent, before, fresh, `${place.log.entry.name}:${place.line}`]), [
    ['from 10.0.0.0: gone', true, 5, 0, 0, 'logs/a/c.log:1'], ['noise 0', false, 5, 55, 0, 'logs/a/c.1.log:56'],
    ['just begun 0', false, 0, 0, 10, 'logs/a/f.log:1']]);
  deepStrictEqual(state.logs.map(({errors, recent, hours}) => [errors, recent, hours.at(-1)]), [[60, 5, {lines: 2, errors: 2, line: 59}],
    [5, 5, {lines: 4, errors: 4, line: 2}], [10, 10, {lines: 4, errors: 4, line: 7}]]);
});
test('sections and modules, whatever they end in', () => {
  const banner = (title) => `${'='.repeat(34)} ${title} ${'='.repeat(34)}`;
  const told = (sections) => sections.map(({title, lines, line}) => [title, lines, line]);
  const dump = (text) => told(part.modulesOf({run: {records: [{message: `xtunnel dump:\n${text}`, line: 3}]}}, ['DNS', 'VNIC']));
  deepStrictEqual(told(part.sectionsOf(`${banner('a')}\nx\n\ny${banner('b')}\n${banner('c')}\nz`)),
    [['a', ['x', '', 'y'], 2], ['b', [], 5], ['c', ['z'], 6]]);
  deepStrictEqual(dump('head\n[DNS] up\n\nVNIC: none'), [['dump', ['head'], 4], ['DNS', ['[DNS] up', ''], 5], ['VNIC', ['VNIC: none'], 7]]);
  deepStrictEqual(dump('{"DNS": {"state": "up"}}'), [['DNS', ['{', '  "state": "up"', '}'], 4]]);
});
test('bytes and what is shown of them', async () => {
  const kinds = ['SQLite format 3\0', '\xff\xfea\0', 'a\0b\0c\0', 'plain\x1b', '\0\0\0'].map((text) => part.kindOf(Buffer.from(text, 'latin1')));
  deepStrictEqual(kinds.map(({encoding, kind}) => kind || encoding), ['SQLite database', 'utf-16le', 'utf-16le', 'utf-8', 'utf-8']);
  deepStrictEqual(part.visible('a\u00ad\u202e\u{e0041}\u3164\x1b\t\u2028'), 'a<ad><202e><e0041><3164>·\t<2028>');
  deepStrictEqual([`${'['.repeat(99)}${']'.repeat(99)}`, '[1]', '{'].map(part.parseJson), [undefined, [1], undefined]);
  const stored = 'UEsDBAoAAAAAAAAAAACGphA2BQAAAAUAAAAFAAAAYS50eHRoZWxsb1BLAQIKAAoAAAAAAAAAAACGphA2BQAAAAUAAAAFAAAA' +
    'AAAAAAAAAAAAAAAAAABhLnR4dFBLBQYAAAAAAQABADMAAAAoAAAAAAA=';
  const file = new Blob([Buffer.from(stored, 'base64')]), {entries: [entry], notes} = await part.readDirectory(file), pieces = [];
  for await (const piece of part.contentOf(file, entry)) pieces.push(Buffer.from(piece));
  deepStrictEqual([entry.name, notes, Buffer.concat(pieces).toString()], ['a.txt', [], 'hello']);
});

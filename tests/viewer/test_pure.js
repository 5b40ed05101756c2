// The parts of the page that only compute, with Node's own test runner: node --test tests/viewer/test_pure.js
'use strict';
const assert = require('node:assert');
const fs = require('node:fs');
const path = require('node:path');
const {test} = require('node:test');

const names = ['zip', 'text', 'logs', 'findings'].map((name) => path.join(__dirname, '../../viewer/src', `${name}.js`));
const {levelOf, stampOf, stampText, newState, newLog, lookThrough, ranked, sectionsOf, modulesOf, visible, kindOf, parseJson,
  readDirectory, contentOf} = new Function(`${names.map((name) => fs.readFileSync(name)).join('\n')}
  return {levelOf, stampOf, stampText, newState, newLog, lookThrough, ranked, sectionsOf, modulesOf, visible, kindOf, parseJson,
    readDirectory, contentOf};`)();
const END = Date.UTC(2026, 10, 21, 18, 45, 31), clock = {end: END, zone: 3600000};

test('levels: the field decides, words where there is none', () => {
  const cases = {'[2026-11-21 18:45:31.123] [error] [7] x': 2, '[2026-11-21 18:45:31.123] [info] an error': 0, 'x <Error>: y': 2,
    '2026-11-21 18:45:31.1+0100 0x1a   Fault   0x0 x': 2, '2026-11-21 18:45:31.1+0100 0x1a   Default   0x0 failed': 0,
    '[1121/184531.123:ERROR:a.cc(1)] x': 2, '[1121/184531.123:INFO:a.cc(1)] failed': 0, '{"level":"error","msg":"x"}': 2,
    '{"level":30,"msg":"failed"}': 0, '{"time":1,"level":50}': 2, 'ts=1 level=warn msg=failed': 1, '18:45:31 warning: x failed': 1,
    '2026-11-21 18:45:31 WARN x': 1, 'E1121 18:45:31.1 7 a.cc:1] x': 2, 'connect failed': 2, '0 errors': 0, 'no error': 0,
    'error: none': 0, 'errors=0': 0, 'lastError: timed out': 2, 'see error.log': 0, '10 errors': 2, 'all is well': 0};
  assert.deepStrictEqual(Object.fromEntries(Object.keys(cases).map((line) => [line, levelOf(line).level])), cases);
});
test('stamps: wall clock of the machine', () => {
  const same = '2026-11-21 18:45:31', cases = {'[2026-11-21 18:45:31.123] x': same, '2026-11-21T17:45:31Z x': same,
    '2026-11-21 18:45:31.123456+0100 x': same, '<14>Nov 21 18:45:31 host x': same, '[1121/184531.123:ERROR:a] x': same,
    '{"msg":"x","ts":"2026-11-21T17:45:31.5Z"}': same, '1795283131 x': same, 'I1121 18:45:31.1 x': same,
    'Dec 24 18:45:31 x': '2025-12-24 18:45:31', 'no stamp': undefined, 'build 20269999 x': undefined};
  const told = (line) => stampOf(line, clock) && stampText(stampOf(line, clock).time);
  assert.deepStrictEqual(Object.fromEntries(Object.keys(cases).map((line) => [line, told(line)])), cases);
});
test('groups: what is new comes first, what began with its log last', () => {
  const state = newState(clock), line = (minutes, text) => `${stampText(END - minutes * 60000)} [error] ${text}\n`;
  const lines = (from, to, step, text) => Array.from({length: (from - to) / step}, (_, i) => line(from - step * i, text(i))).join('');
  const old = lines(1200, 0, 20, (i) => `noise ${i}`), fresh = lines(100, 0, 10, (i) => `just begun ${i}`);
  const logs = {'logs/a/c.1.log': old, 'logs/a/c.log': lines(50, 0, 10, (i) => `from 10.0.0.${i}: gone`), 'logs/a/f.log': fresh};
  for (const [name, text] of Object.entries(logs)) {
    state.logs.push(newLog({name}));
    lookThrough(text, 1, state.logs.at(-1), state);
  }
  assert.deepStrictEqual(ranked(state, 2).map(({text, isNew, recent, before, fresh: begun, place}) =>
    [text, isNew, recent, before, begun, `${place.log.entry.name}:${place.line}`]), [
    ['from 10.0.0.0: gone', true, 5, 0, 0, 'logs/a/c.log:1'], ['noise 0', false, 5, 55, 0, 'logs/a/c.1.log:56'],
    ['just begun 0', false, 0, 0, 10, 'logs/a/f.log:1']]);
  assert.deepStrictEqual(state.logs.map(({lines: all, errors, recent, hours}) => [all, errors, recent, hours.at(-1)]), [
    [60, 60, 5, {lines: 2, errors: 2, line: 59}], [5, 5, 5, {lines: 4, errors: 4, line: 2}], [10, 10, 10, {lines: 4, errors: 4, line: 7}]]);
});
test('sections and modules, whatever they end in', () => {
  const banner = (title) => `${'='.repeat(34)} ${title} ${'='.repeat(34)}`;
  const seen = sectionsOf(`${banner('a')}\nx\n\ny${banner('b')}\n${banner('c')}\nz`, 'e').map(({title, lines, line}) => [title, lines, line]);
  assert.deepStrictEqual(seen, [['a', ['x', '', 'y'], 2], ['b', [], 5], ['c', ['z'], 6]]);
  const dump = (text) => modulesOf({run: {records: [{message: `xtunnel dump:\n${text}`, line: 3}]}}, ['DNS', 'VNIC'])
    .map(({title, lines, line}) => [title, lines, line]);
  assert.deepStrictEqual(dump('head\n[DNS] up\n more\nVNIC: none'), [['dump', ['head'], 4], ['DNS', ['[DNS] up', ' more'], 5], ['VNIC', ['VNIC: none'], 7]]);
  assert.deepStrictEqual(dump('{"DNS": {"state": "up"}}'), [['DNS', ['{', '  "state": "up"', '}'], 4]]);
});
test('what is shown', async () => {
  assert.strictEqual(visible('a\u00ad\u202e\u{e0041}\u3164\x1b\t\u2028'), 'a<ad><202e><e0041><3164>·\t<2028>');
  assert.deepStrictEqual([parseJson('['.repeat(99) + ']'.repeat(99)), parseJson('[1]'), parseJson('{')], [undefined, [1], undefined]);
  const kinds = ['SQLite format 3\0', '\xff\xfea\0', 'a\0b\0c\0', 'plain\x1b', '\0\0\0'].map((text) => Buffer.from(text, 'latin1')).map(kindOf);
  assert.deepStrictEqual(kinds.map(({encoding, kind}) => kind || encoding), ['SQLite database', 'utf-16le', 'utf-16le', 'utf-8', 'utf-8']);
  const stored = Buffer.from('UEsDBAoAAAAAAAAAAACGphA2BQAAAAUAAAAFAAAAYS50eHRoZWxsb1BLAQIKAAoAAAAAAAAAAACGphA2BQAAAAUAAAAFAAAAAAAAAAAAAAAAAAAAAABhLnR4dFBLBQYAAAAAAQABADMAAAAoAAAAAAA=', 'base64');
  const file = new Blob([stored]), {entries: [entry], notes} = await readDirectory(file), pieces = [];
  for await (const piece of contentOf(file, entry)) pieces.push(Buffer.from(piece));
  assert.deepStrictEqual([entry.name, notes, Buffer.concat(pieces).toString()], ['a.txt', [], 'hello']);
});

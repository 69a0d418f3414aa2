'use strict';

// Rows whose columns are known at run time only.

const assert = require('node:assert/strict');
const { test } = require('node:test');
const fc = require('fast-check');

const { table } = require('../build/Release/plain.node');
const { thrownBy } = require('../support');

const names = [
  '__proto__',
  'constructor',
  '',
  '1',
  'a',
  'count(*)',
  '"\\\n\0',
  '\u2028é',
  '\ud800',
];
const cells = [
  null,
  true,
  0.5,
  -3,
  NaN,
  2 ** 53 - 1,
  9n,
  '',
  'é\0',
  Buffer.alloc(3),
  Buffer.alloc(2000),
];

/** The rows that a table is to have: of columns with the same name the last counts. */
function rowsOf(columns, given) {
  const rows = [];
  for (let i = 0; i + columns.length <= given.length && columns.length > 0; i += columns.length) {
    const row = {};
    for (const [j, column] of columns.entries()) {
      const property = {
        value: given[i + j],
        writable: true,
        enumerable: true,
        configurable: true,
      };
      Object.defineProperty(row, column.replace(/\p{Surrogate}/gu, '\ufffd'), property);
    }
    rows.push(row);
  }
  return rows;
}

test('what was added is in the rows, few or many', () => {
  const columns = fc.array(fc.constantFrom(...names), { maxLength: 6 });
  const added = fc.array(fc.constantFrom(...cells), { maxLength: 12 });
  const property = fc.property(columns, added, fc.constantFrom(1, 40), (columns, added, times) => {
    const rows = table(columns, added, times);
    const expected = rowsOf(columns, Array(times).fill(added).flat());
    assert.deepEqual(rows, expected);
    assert.deepEqual(rows.map(Object.keys), expected.map(Object.keys));
  });
  fc.assert(property, { numRuns: 300 });
});

test('of wide tables, and of more lists of columns than are kept', () => {
  const wide = Array.from({ length: 3000 }, (_, i) => `c${i}`);
  assert.deepEqual(table(wide, wide, 20)[19], rowsOf(wide, wide)[0]);
  for (let i = 0; i < 1100; ++i) {
    assert.deepEqual(table([`column ${i}`], [i], 16)[15], { [`column ${i}`]: i });
  }
});

test('an integer that a number does not hold is told with its place', () => {
  for (const times of [1, 20]) {
    const { code, message } = thrownBy(table, ['a', 'b'], [1, 2n ** 53n], times);
    assert.equal(code, 'EOVERFLOW');
    assert.ok(message.startsWith('table: result[0].b: 9007199254740992 is beyond'), message);
  }
});

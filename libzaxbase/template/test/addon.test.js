'use strict';

const assert = require('node:assert');
const test = require('node:test');
const { smallestFactor, centroid } = require('..');

test('what the functions return', () => {
  assert.strictEqual(smallestFactor(91), 7);
  assert.strictEqual(smallestFactor(97), 97);
  const corners = [
    { x: 0, y: 0 },
    { x: 4, y: 2 },
  ];
  assert.deepStrictEqual(centroid(corners), { x: 2, y: 1 });
});

test('what they refuse', () => {
  for (const [call, code, message] of [
    [() => smallestFactor(1), 'ENOFACTOR', '1 has no factor above 1'],
    [
      () => centroid([{ x: 0, y: '1' }]),
      'EBADARG',
      'centroid: argument 1 (points)[0].y: number expected, got "1"',
    ],
  ]) {
    assert.throws(call, { code, message });
  }
});

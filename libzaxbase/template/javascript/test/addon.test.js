'use strict';

const assert = require('node:assert');
const test = require('node:test');
const addon = require('..');

const { smallestFactor, centroid, Path, countPrimes } = addon;

test('what the functions return', () => {
  assert.strictEqual(smallestFactor(91), 7);
  assert.strictEqual(smallestFactor(97), 97);
  const corners = [
    { x: 0, y: 0 },
    { x: 4, y: 2 },
  ];
  assert.deepStrictEqual(centroid(corners), { x: 2, y: 1 });
});

test('an object keeps its state', () => {
  const path = new Path();
  for (const x of [0, 3, 0]) path.add({ x, y: 4 });
  assert.strictEqual(path.length, 6);
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

test('a task tells its progress and can be cancelled', async () => {
  const percents = [];
  const onProgress = (percent) => percents.push(Math.round(percent));
  assert.strictEqual(await countPrimes(20001, { onProgress }), 2262);
  assert.deepStrictEqual(percents, [50, 100]);

  const cancelled = countPrimes(1e9, { signal: AbortSignal.timeout(10) });
  await assert.rejects(cancelled, { name: 'TimeoutError' });
});

test('import has what require has', async () => {
  const { ...imported } = await import('../index.mjs');
  assert.deepStrictEqual(imported, { ...addon });
});

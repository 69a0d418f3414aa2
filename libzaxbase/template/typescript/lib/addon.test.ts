import assert from 'node:assert';
import test from 'node:test';
import { smallestFactor, centroid, Path, countPrimes, type Point } from './index.js';

test('what the functions return', () => {
  assert.strictEqual(smallestFactor(91), 7);
  assert.strictEqual(smallestFactor(97), 97);
  const corners: Point[] = [
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
  assert.throws(() => smallestFactor(1), {
    code: 'ENOFACTOR',
    message: '1 has no factor above 1',
  });
  // @ts-expect-error
  assert.throws(() => centroid([{ x: 0, y: '1' }]), {
    code: 'EBADARG',
    message: 'centroid: argument 1 (points)[0].y: number expected, got "1"',
  });
});

test('a task tells its progress and can be cancelled', async () => {
  const percents: number[] = [];
  const onProgress = (percent: number) => percents.push(Math.round(percent));
  assert.strictEqual(await countPrimes(20001, { onProgress }), 2262);
  assert.deepStrictEqual(percents, [50, 100]);

  const cancelled = countPrimes(1e9, { signal: AbortSignal.timeout(10) });
  await assert.rejects(cancelled, { name: 'TimeoutError' });
});

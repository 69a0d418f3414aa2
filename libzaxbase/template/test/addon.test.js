'use strict';

const assert = require('node:assert');
const test = require('node:test');
const { smallestFactor, countPrimes } = require('..');

test('a synchronous function', () => {
  assert.strictEqual(smallestFactor(91), 7);
  assert.strictEqual(smallestFactor(97), 97);
});

test('errors carry a code and the place in the native code', () => {
  assert.throws(
    () => smallestFactor(1),
    ({ code, message, details }) => {
      assert.strictEqual(code, 'EBADARG');
      assert.strictEqual(message, '1 has no factor above 1');
      assert.strictEqual(details.file, 'ADDON_NAME/src/addon.cpp');
      return true;
    },
  );
  assert.throws(() => smallestFactor('91'), { code: 'EBADARG', message: 'Number expected' });
});

test('a job with progress', async () => {
  const progress = [];
  assert.strictEqual(await countPrimes(100, (text) => progress.push(text)), 25);
  assert.strictEqual(progress.join(' '), '10% 20% 30% 40% 50% 60% 70% 80% 90% 100%');
});

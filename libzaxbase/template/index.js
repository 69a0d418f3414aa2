'use strict';

const { isMainThread } = require('node:worker_threads');
const runtime = require('zaxbase/runtime');

if (!isMainThread) throw new Error('Load ADDON_PACKAGE in the main thread');

runtime.install();
const addon = require('./build/Release/ADDON_NAME.node');

/** The smallest factor of a number, without 1. */
function smallestFactor(number) {
  let factor;
  addon.smallestFactor(number, (_, value) => {
    factor = value;
  });
  return factor;
}

/** A promise for the number of primes up to a limit. Progress is a text, the reply a number. */
const countPrimes = runtime.promisify(addon.countPrimes, {
  settles: (value) => typeof value === 'number',
});

module.exports = { smallestFactor, countPrimes };

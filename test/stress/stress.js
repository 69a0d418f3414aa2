'use strict';

// Jobs and notifications in great numbers: `node --expose-gc stress.js [SCALE]`. With the scale 1 it is
// a million of each and 500 fresh processes. It checks that each job replies once, that each
// notification arrives once, in order and before its job's reply, and that nothing is left behind.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const { availableParallelism } = require('node:os');

const { bridge, repliesOf, run } = require('../support');

const mebibytes = (bytes) => `${(bytes / 2 ** 20).toFixed(1)} MiB`;
const tick = () => new Promise((resolve) => setImmediate(resolve));

/** A job that posts `count` notifications; resolves to its callback with its reply. */
const job = (count) =>
  new Promise((resolve) => {
    let next = 1;
    const callback = (error, value) => {
      const expected = next > count ? 'done' : next++;
      if (error !== 0 || value !== expected) assert.fail(`${value} came, not ${expected}`);
      if (value !== 'done') return;
      next = NaN; // Nothing may follow.
      resolve(callback);
    };
    bridge.job('', new Array(count).fill('notify'), ['reply'], '', callback);
  });

/** Runs `total` jobs, `inFlight` at a time. */
async function jobs(total, inFlight, notifications = 0) {
  const lane = async () => {
    while (total-- > 0) await job(notifications);
  };
  await Promise.all(Array.from({ length: inFlight }, lane));
}

/** The resident set after each of ten equal rounds, which must stop growing. */
async function residentSetIsFlat(million) {
  const sizes = [];
  for (let round = 0; round < 10; ++round) {
    await jobs(million / 20, 256);
    await jobs(8, 8, Math.ceil(million / 160));
    global.gc();
    await tick();
    global.gc();
    sizes.push(process.memoryUsage.rss());
  }
  console.log(`resident set: ${sizes.map(mebibytes).join(', ')}`);
  const growth = Math.min(...sizes.slice(7)) - Math.min(...sizes.slice(2, 5));
  assert.ok(growth < 4 * 2 ** 20, `it grew by ${mebibytes(growth)}`);
}

/** Callbacks must not outlive their jobs. */
async function callbacksAreCollected() {
  const begun = Array.from({ length: 1000 }, async () => new WeakRef(await job(0)));
  const references = await Promise.all(begun);
  for (let i = 0; i < 5; ++i) {
    await tick();
    global.gc();
  }
  const alive = references.filter((reference) => reference.deref()).length;
  assert.ok(alive <= 1, `${alive} of 1000 callbacks are still held`);
}

/** In a fresh process: four threads post its first notifications while the loop is busy. */
async function firstNotifications() {
  setInterval(() => fs.readFile(`${process.execPath}.none`, () => {}), 0);
  await fs.promises.readFile(__filename);
  await jobs(4, 4, 50);
}

/** Fresh processes, as many at a time as there are processors. */
async function freshProcesses(total) {
  const lane = async () => {
    while (total-- > 0) {
      const { status, stderr } = await run(process.execPath, [__filename, 'fresh']);
      assert.equal(status, 0, `how a fresh process ended\n${stderr}`);
    }
  };
  await Promise.all(Array.from({ length: availableParallelism() }, lane));
}

async function measure(what, body) {
  const start = process.hrtime.bigint();
  await body();
  await tick();
  assert.deepEqual(repliesOf(bridge.live), [[0, 0]], 'jobs and notifications that still live');
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  console.log(`${what}: ${seconds.toFixed(1)} s`);
}

async function main(scale = 1) {
  if (scale === 'fresh') return firstNotifications();
  const million = Math.round(1e6 * scale);
  for (const inFlight of [1, 64, 1024]) {
    await measure(`${million} jobs, ${inFlight} in flight`, () => jobs(million, inFlight));
  }
  const each = Math.round(million / 8);
  await measure(`${8 * each} notifications from eight jobs`, () => jobs(8, 8, each));
  await measure('ten rounds', () => residentSetIsFlat(million));
  await measure('callbacks', callbacksAreCollected);
  const processes = Math.round(500 * scale);
  await measure(`${processes} fresh processes`, () => freshProcesses(processes));
}

main(process.argv[2]).then(
  () => process.exit(0),
  (error) => {
    console.error(error);
    process.exit(1);
  },
);

'use strict';

// Jobs and notifications in great numbers: `node --expose-gc stress.js [SCALE]`. With the scale 1 it is
// a million of each and 500 fresh processes. It checks that each job replies once, that each
// notification arrives once, in order and before its job's reply, and that nothing is left behind.

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const { availableParallelism } = require('node:os');

require('zaxbase/runtime').install();
const bridge = require('../build/Release/bridge.node');

const scale = Number(process.argv[2] ?? 1);
const million = Math.round(1e6 * scale);

const mebibytes = (bytes) => `${(bytes / 2 ** 20).toFixed(1)} MiB`;
const tick = () => new Promise((resolve) => setImmediate(resolve));

/** Starts a job that posts `count` notifications; resolves after its reply, once a turn has passed. */
function job(count, onSettled) {
  const begin = new Array(count).fill('notify');
  let next = 1;
  let replies = 0;
  bridge.job('', begin, ['reply'], '', (error, value) => {
    assert.equal(error, 0);
    assert.equal(replies, 0, 'something came after the reply');
    if (value === 'done') {
      assert.equal(next, count + 1, 'a notification is missing');
      ++replies;
      onSettled();
    } else {
      assert.equal(value, next++, 'a notification is out of order');
    }
  });
}

/** Runs `total` jobs, `inFlight` at a time. */
function jobs(total, inFlight, notifications = 0) {
  let started = 0;
  let settled = 0;
  return new Promise((resolve) => {
    const startNext = () => {
      ++started;
      job(notifications, () => {
        ++settled;
        if (started < total) startNext();
        else if (settled === total) resolve();
      });
    };
    while (started < Math.min(inFlight, total)) startNext();
  });
}

async function assertNothingLives() {
  await tick();
  let live;
  bridge.live((_, counts) => {
    live = counts;
  });
  assert.deepEqual(live, [0, 0], 'jobs and notifications that still live');
}

async function measure(what, body) {
  const start = process.hrtime.bigint();
  await body();
  await assertNothingLives();
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  console.log(`${what}: ${seconds.toFixed(1)} s`);
}

/** The resident set after each of ten equal rounds, which must stop growing. */
async function residentSetIsFlat() {
  const sizes = [];
  for (let round = 0; round < 10; ++round) {
    await jobs(Math.round(million / 20), 256);
    await jobs(8, 8, Math.round(million / 160));
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
  const references = [];
  await new Promise((resolve) => {
    let settled = 0;
    for (let i = 0; i < 1000; ++i) {
      const callback = () => ++settled === 1000 && resolve();
      references.push(new WeakRef(callback));
      bridge.job('', [], ['reply'], '', callback);
    }
  });
  for (let i = 0; i < 5; ++i) {
    await tick();
    global.gc();
  }
  const alive = references.filter((reference) => reference.deref()).length;
  assert.ok(alive <= 1, `${alive} of 1000 callbacks are still held`);
}

const firstNotifications = `
  require('zaxbase/runtime').install();
  const bridge = require('../build/Release/bridge.node');
  const fs = require('node:fs');
  const timer = setInterval(() => fs.readFile(process.execPath + '.none', () => {}), 0);
  let waiting = 4;
  const steps = new Array(50).fill('notify');
  const start = () => {
    for (let i = 0; i < 4; ++i) {
      let next = 1;
      bridge.job('', steps, ['reply'], '', (_, value) => {
        if (value !== 'done') return void (value === next++ || process.exit(2));
        if (next !== 51) process.exit(3);
        if (--waiting === 0) process.exit(0);
      });
    }
  };
  fs.readFile('stress.js', start);
`;

/** Fresh processes whose first notifications are posted by four threads while the loop is busy. */
async function freshProcesses(total) {
  let started = 0;
  const lane = async () => {
    while (started++ < total) {
      const child = spawn(process.execPath, ['-e', firstNotifications], {
        cwd: __dirname,
        stdio: 'inherit',
        timeout: 20000,
      });
      const [status, signal] = await new Promise((resolve) => {
        child.on('exit', (...end) => resolve(end));
      });
      assert.equal(signal ?? status, 0, 'how a fresh process ended');
    }
  };
  await Promise.all(Array.from({ length: availableParallelism() }, lane));
}

async function main() {
  for (const inFlight of [1, 64, 1024]) {
    await measure(`${million} jobs, ${inFlight} in flight`, () => jobs(million, inFlight));
  }
  const each = Math.round(million / 8);
  await measure(`${8 * each} notifications from eight jobs`, () => jobs(8, 8, each));
  await measure('ten rounds', residentSetIsFlat);
  await measure('callbacks', callbacksAreCollected);
  const processes = Math.round(500 * scale);
  await measure(`${processes} fresh processes`, () => freshProcesses(processes));
}

main().then(
  () => process.exit(0),
  (error) => {
    console.error(error);
    process.exit(1);
  },
);

'use strict';

// Jobs with notifications, and tasks with progress, in great numbers: `node --expose-gc stress.js
// [SCALE]`. With the scale 1 it is a million of each, 500 fresh processes and 200 Workers. It checks
// that each job replies once, that each notification arrives once, in order and before its job's
// reply, that so do tasks, and that nothing is left behind.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const { availableParallelism } = require('node:os');

const { Worker } = require('node:worker_threads');

const { bridge, repliesOf, run } = require('../support');

const plainFile = require.resolve('../build/Release/plain.node');
const { tasks, types } = require(plainFile);

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

/** A task that posts `count` numbers; resolves to its onProgress. */
async function task(count) {
  let next = 0;
  let over = false;
  const onProgress = (value) => {
    if (over || value !== next++) assert.fail(`${value} came, not ${next - 1}`);
  };
  const { signal } = new AbortController();
  const result = await tasks.count(count, 0, count % 2 ? { onProgress, signal } : { onProgress });
  over = true;
  assert.deepEqual([result, next], [count, count]);
  return onProgress;
}

/** Objects of a class that are made and dropped; some have tasks, some are held by native code. */
async function objects(total) {
  const { Store, values } = types;
  const make = (i) => {
    const store = new Store('a name that is not short', i % 3);
    if (i % 100 === 0) values.keep(store);
    return i % 1000 === 0 && store.work(0);
  };
  for (let i = 0; i < total; ++i) if (make(i)) await make(i);
  values.kept();
  for (let turn = 0; values.living() > 0 && turn < 100; ++turn) {
    global.gc();
    await tick();
  }
  assert.equal(values.living(), 0, 'objects that still live');
}

/** Runs `total` jobs or tasks, `inFlight` at a time. */
async function many(start, total, inFlight, notifications = 0) {
  const lane = async () => {
    while (total-- > 0) await start(notifications);
  };
  await Promise.all(Array.from({ length: inFlight }, lane));
}

/** The resident set after each of ten equal rounds, which must stop growing. */
async function residentSetIsFlat(body, most = 4) {
  const sizes = [];
  for (let round = 0; round < 10; ++round) {
    await body();
    global.gc();
    await tick();
    global.gc();
    sizes.push(process.memoryUsage.rss());
  }
  console.log(`resident set: ${sizes.map(mebibytes).join(', ')}`);
  const growth = Math.min(...sizes.slice(7)) - Math.min(...sizes.slice(2, 5));
  assert.ok(growth < most * 2 ** 20, `it grew by ${mebibytes(growth)}`);
}

/** Callbacks must not outlive their jobs. */
async function callbacksAreCollected(start) {
  const begun = Array.from({ length: 1000 }, async () => new WeakRef(await start(0)));
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
  await many(job, 4, 4, 50);
}

/** Workers that are terminated at any moment, four at a time, with tasks queued and running. */
async function workers(total) {
  const script = `const { tasks, types } = require(${JSON.stringify(plainFile)});
    const { count, work } = tasks;
    const { Store } = types;
    const { signal } = new AbortController();
    const onProgress = () => {};
    const store = new Store('', 1);
    for (let i = 0; i < 8; ++i) store.work(1e6, { onProgress });
    for (let i = 0; i < 8; ++i) work(1e6, 0, { signal, onProgress }).catch(() => {});
    (async () => { for (;;) await count(100, 0, { onProgress }); })();`;
  const lane = async () => {
    while (total-- > 0) {
      const worker = new Worker(script, { eval: true });
      setTimeout(() => worker.terminate(), 40 + Math.random() * 60);
      await new Promise((resolve) => worker.on('exit', resolve));
    }
  };
  await Promise.all(Array.from({ length: 4 }, lane));
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
  assert.equal(tasks.living(), 0, 'tasks that still live');
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  console.log(`${what}: ${seconds.toFixed(1)} s`);
}

async function main(scale = 1) {
  if (scale === 'fresh') return firstNotifications();
  const million = Math.round(1e6 * scale);
  const each = Math.round(million / 8);
  for (const start of [job, task]) {
    for (const inFlight of [1, 64, 1024]) {
      const body = () => many(start, million, inFlight);
      await measure(`${million} ${start.name}s, ${inFlight} in flight`, body);
    }
    await measure(`${8 * each} notifications of eight`, () => many(start, 8, 8, each));
    const round = async () => {
      await many(start, million / 20, 256);
      await many(start, 8, 8, Math.ceil(million / 160));
    };
    await measure('ten rounds', () => residentSetIsFlat(round));
    await measure('callbacks', () => callbacksAreCollected(start));
  }
  const someObjects = () => objects(million / 10);
  await measure(`${million} objects in ten rounds`, () => residentSetIsFlat(someObjects));
  const someWorkers = () => workers(Math.ceil(20 * scale));
  await measure('ten rounds of Workers', () => residentSetIsFlat(someWorkers, 64));
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

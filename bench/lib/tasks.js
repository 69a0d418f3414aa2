'use strict';

// What is measured: each task lets one contender work and returns figures, times in nanoseconds for
// each piece of work. Every reply is checked.

const assert = require('node:assert/strict');
const fs = require('node:fs');

/** Starts a clock; the function returned gives the wall and processor time for each of `count`. */
function meter() {
  const cpuBegin = process.cpuUsage();
  const begin = process.hrtime.bigint();
  return (count) => {
    const wall = Number(process.hrtime.bigint() - begin);
    const { user, system } = process.cpuUsage(cpuBegin);
    return { wall: wall / count, cpu: ((user + system) * 1000) / count };
  };
}

function sync(contender, { text, count }) {
  const call = contender.sync;
  let replies = 0;
  const callback = (error, reply) => {
    if (error === 0 && reply.length === text.length) replies++;
  };
  const stop = meter();
  for (let i = 0; i < count; i++) call(i, text, callback);
  const figures = stop(count);
  assert.equal(replies, count);
  return figures;
}

const loops = new WeakMap();

/**
 * Runs a statement `count` times, in a loop that is compiled for the contender alone, as V8 does for
 * a program that uses one. It sees the contender's functions, `i` and the value of the expression
 * `input`, and adds `sum` to the variable of that name each time.
 */
function repeat(contender, { statement, input, sum, count }) {
  if (!loops.has(contender)) loops.set(contender, {});
  const compiled = loops.get(contender);
  const source = `const input = ${input};
    return (count) => {
      let sum = 0;
      for (let i = 0; i < count; i++) { ${statement}; }
      return sum;
    };`;
  const functions = `{ ${Object.keys(contender)} }`;
  const loop = (compiled[source] ??= new Function(functions, source)(contender));
  const stop = meter();
  const given = loop(count);
  const figures = stop(count);
  assert.equal(given, sum * count);
  return figures;
}

/** Runs `count` jobs, never more than `width` at a time. */
function flight(start, isReply, { text, width, count }) {
  return new Promise((resolve) => {
    let started = 0;
    let replies = 0;
    const startNext = () => {
      started++;
      start(text, onReply);
    };
    const onReply = (error, reply) => {
      if (!isReply(error, reply)) throw new Error('wrong reply');
      if (++replies === count) resolve(stop(count));
      if (started < count) startNext();
    };
    const stop = meter();
    while (started < width) startNext();
  });
}

function jobs(contender, options) {
  const { length } = options.text;
  return flight(contender.job, (error, text) => error === 0 && text.length === length, options);
}

function throwing(contender, options) {
  const { length } = `cannot work on ${options.text}`;
  const isReply = (error, text) => error.message.length === length && text === undefined;
  return flight(contender.throwing, isReply, options);
}

/** Runs `count` tasks, `width` at a time, each awaited. */
async function awaited({ task }, { text, width, count, stackTraceLimit }) {
  const { length } = text;
  let left = count;
  const oneByOne = async () => {
    while (left-- > 0) if ((await task(text)).length !== length) throw new Error('wrong result');
  };
  const limit = Error.stackTraceLimit;
  Error.stackTraceLimit = stackTraceLimit;
  const stop = meter();
  await Promise.all(Array.from({ length: width }, oneByOne));
  const figures = stop(count);
  Error.stackTraceLimit = limit;
  return figures;
}

/** Bytes of the size to a task and back, one after another. */
async function bytes({ same }, { size, count }) {
  const sent = Buffer.alloc(size, 7);
  const stop = meter();
  for (let i = 0; i < count; i++) {
    const given = await same(sent);
    if (given.length !== size || given[size - 1] !== 7) throw new Error('wrong result');
  }
  return stop(count);
}

/** Makes objects of a class and drops them, until their native side has gone too. */
async function objects({ Counter, living }, { count }) {
  const stop = meter();
  for (let i = 0; i < count; i++) new Counter(i);
  while (living() > 0) {
    globalThis.gc();
    await new Promise(setImmediate);
  }
  return stop(count);
}

/** One job posting the numbers below `count`: each must arrive, in order. */
function progress(contender, { count }) {
  return new Promise((resolve) => {
    let next = 0;
    const stop = meter();
    contender.progress(count, 0, (error, text) => {
      if (error === 0) {
        if (Number(text) !== next) throw new Error(`${text} came instead of ${next}`);
        next++;
        return;
      }
      const figures = stop(count);
      assert.deepEqual([next, error], [count, undefined]);
      resolve(figures);
    });
  });
}

/** The time from a worker thread's post to the callback, at a thousand posts a second. */
function latency(contender, { count }) {
  const times = [];
  return new Promise((resolve) => {
    contender.progress(count, 1000, (error, text) => {
      if (error === 0) {
        times.push(Number(process.hrtime.bigint() - BigInt(text)));
        return;
      }
      assert.equal(times.length, count);
      times.sort((a, b) => a - b);
      const at = (part) => times[Math.ceil(count * part) - 1];
      resolve({ p50: at(0.5), p99: at(0.99) });
    });
  });
}

const statusBytes = (field) => {
  const status = fs.readFileSync('/proc/self/status', 'latin1');
  return Number(new RegExp(`^${field}:\\s*(\\d+) kB$`, 'm').exec(status)[1]) * 1024;
};

/**
 * Runs `body` and adds to its figures how far the resident set grew at its peak, in bytes. The heap
 * for short-lived JavaScript values must have been gone through before.
 */
async function withGrowth(body) {
  fs.writeFileSync('/proc/self/clear_refs', '5'); // Begins a new peak.
  const before = statusBytes('VmRSS');
  const figures = await body();
  return { ...figures, growth: statusBytes('VmHWM') - before };
}

/** Jobs in a process of their own, after one that has had fewer in flight. */
async function jobsWithGrowth(contender, options) {
  await jobs(contender, { ...options, width: 64 });
  return withGrowth(() => jobs(contender, options));
}

/** Progress in a process of its own. */
async function progressWithGrowth(contender, options) {
  sync(contender, { text: '12345678', count: 500000 });
  await progress(contender, { count: options.count / 20 });
  return withGrowth(() => progress(contender, options));
}

module.exports = {
  meter,
  sync,
  repeat,
  jobs,
  awaited,
  bytes,
  objects,
  throwing,
  latency,
  progress,
  jobsWithGrowth,
  progressWithGrowth,
};

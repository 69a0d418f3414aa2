'use strict';

// The contenders. Each add-on has the same functions:
//   sync(number, text, cb)       calls cb(0, text) before it returns
//   fail(number, text, cb)       throws an Error with code and details
//   job(text, cb)                an empty job, then cb(0, text)
//   task(text)                   an empty task: a promise of the text
//   throwing(text, cb)           a job whose work throws, then cb(error)
//   progress(count, pause, cb)   a job that posts the numbers below count as texts, or with a pause
//                                of so many microseconds the time; cb(0, text) each, cb() at the end
// and functions that return, in zax on the plain road:
//   add(a, b), upper(text)
//   sumOf(numbers), sumOfPoints(points)  of an array of numbers, or of objects {x, y, name}
//   numbers(n), points(n)        such arrays
//   rows(n)                      an array of objects with a member of every other kind
//   invert(buffer)               a new Buffer with the complement of each byte
//   refuse(number, text)         throws as fail does
// and new Counter(number)        with add(number) and value; living() counts the native ones

const assert = require('node:assert/strict');
const path = require('node:path');

const { open } = require('../../libzaxbase/load');

const names = ['zax', 'nan', 'napi', 'raw'];

// Two contenders have a second way to do progress: of napi's the better one counts, and zax has its
// tasks' besides its jobs'.
const secondNapi = 'napi, thread-safe function';
const zaxTask = 'zax, task';
// And zax as it is published, for every Node, reaches V8 through a backend from elsewhere.
const zaxSplit = 'zax, split';

function load() {
  require('../../libzaxbase/runtime').install();
  const file = (name) => path.join(__dirname, '../build/Release', `${name}.node`);
  const addon = (name) => require(file(name));
  const contenders = Object.fromEntries(names.map((name) => [name, addon(name)]));
  contenders.zax = { ...contenders.zax, ...addon('plain_zax') };
  const { napi } = contenders;
  contenders[secondNapi] = { ...napi, progress: napi.threadSafeProgress };
  const { zax } = contenders;
  const progress = (count, pause, cb) =>
    zax.feed(count, pause, { onProgress: (text) => cb(0, text) }).then(() => cb());
  contenders[zaxTask] = { ...zax, progress };
  contenders[zaxSplit] = { ...zax, ...open(file('plain_zax_split')) };
  contenders.literal = literal;
  return contenders;
}

function checkError(error) {
  const { exceptionClass, file, line, function: raisedIn, callstack, ...others } = error.details;
  assert(error instanceof Error);
  assert.equal(error.code, 'BENCH-FAILED');
  assert.equal(error.message, 'cannot take number 7 with text x');
  const place = `${exceptionClass} ${file}:${line} ${raisedIn}`;
  assert.match(place, /^\S+::\S+ \S+\.cpp:\d+ (fail|refuse)$/);
  assert.deepEqual([callstack, others], [[], {}]);
  return true;
}

/** For comparison: what JavaScript itself makes. */
const literal = { points };

/** What the functions that return give, and what they must refuse. */
const results = [
  ['add', [0.5, 2], 2.5],
  ['upper', ['Grüße, "x"\0y'], 'GRüßE, "X"\0Y'],
  ['sumOf', [[1, 2.5, -0.25]], 3.25],
  ['sumOfPoints', [[{ y: 1, name: 'four', x: 0.5, z: null }]], 5.5],
  ['numbers', [3], [0, 0.75, 1.5]],
  ['points', [2], points(2)],
  ['invert', [Buffer.alloc(0)], Buffer.alloc(0)],
  ['invert', [Buffer.from([0, 255, 7])], Buffer.from([255, 0, 248])],
  ['invert', [Buffer.alloc(2048)], Buffer.alloc(2048, 255)],
  ['rows', [100], rows(100)],
];
const refusals = {
  add: [[1], [1, 2, 3], ['1', 2], [1, undefined]],
  upper: [[], ['a', 'b'], [1]],
  sumOf: [[], [1], [[1, '2']], [[...Array(100).keys(), null]]],
  sumOfPoints: [[{}], [[null]], [[{ x: 1, y: 2 }]], [[{ x: 1, y: '2', name: '' }]]],
  invert: [[], ['text'], [{}]],
  refuse: [[1], [1, 'x', 2], ['1', 'x'], [1, 2]],
};

function points(count) {
  return Array.from({ length: count }, (_, i) => ({
    x: i * 0.5,
    y: i * -0.25,
    name: `point ${i}`,
  }));
}

function rows(count) {
  return Array.from({ length: count }, (_, id) => {
    const bytes = Buffer.alloc(16, id);
    return { id, value: id * 0.75, text: `row ${id}`, nothing: null, bytes };
  });
}

function checkReturning(contender) {
  for (const [name, args, expected] of results) {
    assert.deepEqual(contender[name](...args), expected, name);
  }
  for (const [name, calls] of Object.entries(refusals)) {
    for (const args of calls) assert.throws(() => contender[name](...args), Error, name);
  }
  assert.throws(() => contender.refuse(7, 'x'), checkError);
  const counter = new contender.Counter(2);
  assert.deepEqual([counter.add(5), counter.value], [7, 7]);
  assert.throws(() => counter.add('5'), Error);
  assert(contender.living() > 0);
}

async function checkOne({ sync, fail, job, task, throwing, progress }) {
  const replyOf = (fn, ...args) => new Promise((done) => fn(...args, (...reply) => done(reply)));
  const right = [7, 'x', () => {}];
  let calls = 0;
  sync(7, 'x', () => calls++);
  assert.equal(calls, 1, 'called back before the return');
  for (const text of ['12345678', 'x'.repeat(1024), 'Grüße, мир ✓', '']) {
    assert.deepEqual(await replyOf(sync, 1, text), [0, text]);
    assert.deepEqual(await replyOf(job, text), [0, text]);
    assert.equal(await task(text), text);
  }
  for (const fn of [sync, fail]) {
    assert.throws(() => fn(...right, 1), Error);
    assert.throws(() => fn(...right.slice(0, 2)), Error);
    for (const i of right.keys()) assert.throws(() => fn(...right.with(i, null)), Error);
  }
  assert.throws(() => fail(...right), checkError);
  const [error, ...others] = await replyOf(throwing, 'x');
  assert(error instanceof Error);
  assert.equal(error.message, 'cannot work on x');
  assert.equal(others.length, 0);
  const posted = [];
  await new Promise((done) => {
    progress(1000, 0, (...reply) => (reply.length === 0 ? done() : posted.push(reply.join())));
  });
  const expected = Array.from({ length: 1000 }, (_, i) => `0,${i}`);
  assert.deepEqual(posted, expected);
}

/** Makes sure that all contenders do the same work. */
async function check(contenders) {
  for (const [name, contender] of Object.entries(contenders)) {
    if (contender === literal) continue;
    const checks = async () => {
      checkReturning(contender);
      await checkOne(contender);
    };
    await checks().catch((cause) => {
      throw new Error(`${name} does not do the work`, { cause });
    });
  }
}

module.exports = { names, secondNapi, zaxTask, zaxSplit, load, check, literal };

'use strict';

// The contenders. Each add-on has the same functions:
//   sync(number, text, cb)       calls cb(0, text) before it returns
//   fail(number, text, cb)       throws an Error with code and details
//   job(text, cb)                an empty job, then cb(0, text)
//   throwing(text, cb)           a job whose work throws, then cb(error)
//   progress(count, pause, cb)   a job that posts the numbers below count as texts, or with a pause
//                                of so many microseconds the time; cb(0, text) each, cb() at the end

const assert = require('node:assert/strict');
const path = require('node:path');

const names = ['zax', 'nan', 'napi', 'raw'];

/** napi has two ways to do progress; the better one counts. */
const secondNapi = 'napi, thread-safe function';

function load() {
  require('../../libzaxbase/runtime').install();
  const addon = (name) => require(path.join(__dirname, '../build/Release', `${name}.node`));
  const contenders = Object.fromEntries(names.map((name) => [name, addon(name)]));
  const { napi } = contenders;
  contenders[secondNapi] = { ...napi, progress: napi.threadSafeProgress };
  return contenders;
}

function checkError(error) {
  const { exceptionClass, file, line, function: raisedIn, callstack, ...others } = error.details;
  assert(error instanceof Error);
  assert.equal(error.code, 'BENCH-FAILED');
  assert.equal(error.message, 'cannot take number 7 with text x');
  assert.match(`${exceptionClass} ${file}:${line} ${raisedIn}`, /^\S+::\S+ \S+\.cpp:\d+ fail$/);
  assert.deepEqual([callstack, others], [[], {}]);
  return true;
}

async function checkOne({ sync, fail, job, throwing, progress }) {
  const replyOf = (fn, ...args) => new Promise((done) => fn(...args, (...reply) => done(reply)));
  const right = [7, 'x', () => {}];
  let calls = 0;
  sync(7, 'x', () => calls++);
  assert.equal(calls, 1, 'called back before the return');
  for (const text of ['12345678', 'x'.repeat(1024), 'Grüße, мир ✓', '']) {
    assert.deepEqual(await replyOf(sync, 1, text), [0, text]);
    assert.deepEqual(await replyOf(job, text), [0, text]);
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
    await checkOne(contender).catch((cause) => {
      throw new Error(`${name} does not do the work`, { cause });
    });
  }
}

module.exports = { names, secondNapi, load, check };

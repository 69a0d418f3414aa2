'use strict';

// Tasks of the plain road: what they return, tell and throw, and what becomes of them when something
// happens meanwhile.

const assert = require('node:assert/strict');
const { AsyncLocalStorage } = require('node:async_hooks');
const { test } = require('node:test');
const { Worker } = require('node:worker_threads');

const { run } = require('../support');

const file = require.resolve('../build/Release/plain.node');
const { tasks } = require(file);
const { cancelled, count, fail, far, give, living, outlive, work } = tasks;

const range = (length) => Array.from({ length }, (_, i) => i);

/** How a promise settles, as a line. */
const outcome = (promise) =>
  promise.then(
    (value) => `value ${value}`,
    (error) => (error.details ? `${error.code}: ${error.message}` : error),
  );

test('values there and back', async () => {
  const [bytes, point] = [Buffer.from('bytes'), { x: 1, y: undefined, on: true }];
  const given = give('vïew'.repeat(9), bytes, point, [1, 2.5]);
  assert.ok(given instanceof Promise);
  const [view, same, ...others] = await given;
  assert.deepEqual([view, ...others], ['vïew'.repeat(9), point, [1, 2.5]]);
  same[0] = 0x42;
  assert.equal(bytes.toString(), 'Bytes');
  assert.equal(give.length, 4);
});

test('what rejects', async () => {
  const signal = 'argument 3 (options).signal: AbortSignal expected, got 5';
  const got = 'argument 3 (options): unknown option "x", not signal or onProgress';
  for (const [expected, fn, ...args] of [
    ['EBADARG: count: argument 1 (count): integer from', count, 'x', 0],
    ['EBADARG: Bad argument number: expected 2 to 3, but got 1', count, 1],
    ['EBADARG: Bad argument number: expected 2 to 3, but got 4', count, 1, 0, {}, 0],
    [`EBADARG: count: ${signal}`, count, 1, 0, { signal: 5 }],
    [`EBADARG: count: ${got}`, count, 1, 0, { signal: undefined, x: 1 }],
    ['EBADARG: fail: argument 3 (options): this task has no', fail, '', '', { onProgress: fail }],
    ['EBADARG: count: argument 3 (options): object with op', count, 1, 0, null],
    ['EBADARG: count: argument 3 (options).onProgress: function', count, 1, 0, { onProgress: 5 }],
    ['EBADARG: give: argument 2: the buffer is resizable', give, '', resizable(), null, true],
    ['EZAX: no text', fail, 'zax', 'text'],
    ['EUNKNOWN: text', fail, 'std', 'text'],
    ['EFAILED: thrown by C++ and no exception: int', fail, 'int', ''],
    ['EACCES: text: Permission denied', fail, 'system', 'text'],
    ['ECANCELED: The task was cancelled', cancelled],
  ]) {
    const line = await outcome(fn(...args));
    assert.ok(line.startsWith(expected), line);
  }
  const failing = async function caller() {
    await fail('zax', 'text');
  };
  await assert.rejects(failing, ({ stack }) => /cpp:\d+\)\n {4}at caller \(.*tasks/.test(stack));
  const { stackTraceLimit } = Error;
  Error.stackTraceLimit = 0;
  const bare = fail('std', 'x');
  Error.stackTraceLimit = stackTraceLimit;
  await assert.rejects(bare, { stack: 'ZaxBindingError: x\n    at fail (native)' });
});

const resizable = () => new ArrayBuffer(2, { maxByteLength: 9 });

test('progress', async () => {
  const seen = [];
  const store = new AsyncLocalStorage();
  await store.run('context', async () => {
    const onProgress = (value) => seen.push(value) < 3 && assert.equal(store.getStore(), 'context');
    assert.equal(await count(100_000, 0, { onProgress }), 100_000);
    assert.equal(store.getStore(), 'context');
  });
  assert.deepEqual(seen, range(100_000));

  const uncaught = [];
  const listeners = process.listeners('uncaughtException');
  process.removeAllListeners('uncaughtException');
  process.on('uncaughtException', ({ message }) => uncaught.push(message));
  seen.length = 0;
  await count(4, 0, {
    onProgress: (value) => {
      seen.push(value);
      if (value % 2) throw new Error(`at ${value}`);
    },
  });
  await far({ onProgress: (value) => seen.push(value) });
  process.removeAllListeners('uncaughtException');
  for (const listener of listeners) process.on('uncaughtException', listener);
  assert.deepEqual(seen, [0, 1, 2, 3, 1, 2]);
  const tooFar = 'far: progress: 1152921504606846976 is beyond what a number holds exactly';
  assert.deepEqual(uncaught.slice(0, 2), ['at 1', 'at 3']);
  assert.ok(uncaught[2].startsWith(tooFar) && uncaught.length === 3, uncaught[2]);

  let over = false;
  await outlive({ onProgress: () => assert.equal(over, false) });
  over = true;
  await outlive();
  tasks.silence();
});

test('cancellation', async () => {
  const aborted = AbortSignal.abort('reason');
  assert.equal(await outcome(count(1, { valueOf: assert.fail }, { signal: aborted })), 'reason');
  const controller = new AbortController();
  const { signal } = controller;
  const onProgress = (value) => value === 1 && setImmediate(() => controller.abort('enough'));
  const works = range(12).map(() => outcome(work(1e6, 0, { signal, onProgress })));
  // What does not ask is not stopped.
  const finishes = outcome(count(1, 0, { signal }));
  assert.deepEqual(await Promise.all(works), Array(12).fill('enough'));
  assert.equal(await finishes, 'enough'); // It was never taken up.
  const idle = new AbortController();
  const completes = count(1, 0, { signal: idle.signal });
  while (living() > 1) await new Promise(setImmediate);
  assert.equal(await completes, 1);
  const spin = () => {
    for (const end = Date.now() + 20; Date.now() < end;);
  };
  const runs = count(1, 0, { signal: idle.signal });
  spin();
  idle.abort();
  assert.equal(await runs, 1);
});

test('one listener for all tasks of a signal', async () => {
  const warned = (warning) => assert.fail(warning);
  process.on('warning', warned);
  const { signal } = new AbortController();
  const { addEventListener, removeEventListener } = signal;
  let listeners = 0;
  let added = 0;
  signal.addEventListener = (...args) => (
    ++added,
    ++listeners,
    addEventListener.apply(signal, args)
  );
  signal.removeEventListener = (...args) => (--listeners, removeEventListener.apply(signal, args));
  for (let i = 0; i < 20; ++i) await Promise.all(range(50).map(() => count(0, 0, { signal })));
  process.off('warning', warned);
  assert.deepEqual([listeners, added], [0, 20]);
});

/**
 * Brings `event` about while a task is called, while many wait for the pool, while some run, in
 * onProgress, or when a promise settles. Runs in the main thread or in a Worker, knows nothing of
 * this file, and calls `tell` with "over" when all promises have settled.
 */
function meet(file, moment, event, tell) {
  const { count, work } = require(file).tasks;
  const controller = new AbortController();
  const { signal } = controller;
  let open = 0;
  const follow = (promise) => {
    const over = () => --open || tell('over');
    ++open;
    promise.then(over, (reason) => {
      if (reason !== signal.reason) throw reason;
      over();
    });
  };
  const start = (steps, onProgress) => follow(work(steps, 0, { signal, onProgress }));
  const many = (steps, total = 8) => {
    while (total-- > 0) start(steps);
  };
  const act = {
    abort: () => controller.abort(),
    collect: () => {
      globalThis.gc();
      setTimeout(() => controller.abort(), 10);
    },
    terminate: () => {
      for (tell('now'); ;);
    },
    exit: () => process.exit(3),
    throw: () => {
      throw new Error('thrown');
    },
  }[event];
  ({
    call: () => {
      start(9);
      follow(
        work(9, 0, {
          get signal() {
            act();
            return signal;
          },
        }),
      );
    },
    queue: () => {
      many(9, 40);
      act();
    },
    run: () => {
      many(-1, 2);
      many(1e6);
      setTimeout(act, 20);
    },
    progress: () =>
      start(1e6, (value) => {
        if (value === 3) {
          many(1e6);
          act();
        }
      }),
    settle: () => {
      count(1, 0).then(act);
      many(1e6);
    },
  })[moment]();
}

const moments = ['call', 'queue', 'run', 'progress', 'settle'];
const met = (moment, event) => `(${meet})(${JSON.stringify(file)}, '${moment}', '${event}',`;

test('abort, and collected promises, at each moment', async () => {
  for (const event of ['abort', 'collect']) {
    for (const moment of moments) {
      const told = await new Promise((resolve) => meet(file, moment, event, resolve));
      assert.equal(told, 'over', `${event} ${moment}`);
    }
  }
  assert.equal(await settledLiving(), 0);
});

/** Native memory of calls; the promises of the last may have settled this moment. */
async function settledLiving() {
  for (let turn = 0; living() > 0 && turn < 100; ++turn) await new Promise(setImmediate);
  return living();
}

test('Workers at each moment, all moments at once', async () => {
  const end = async (moment, event) => {
    const script = `const { parentPort } = require('node:worker_threads');
      ${met(moment, event)} (what) => parentPort.postMessage(what));`;
    const worker = new Worker(script, { eval: true });
    let told = '';
    worker.on('error', () => {});
    worker.on('message', (what) => {
      told = what;
      if (what === 'now') worker.terminate();
    });
    const code = await new Promise((resolve) => worker.on('exit', resolve));
    return `${moment} ${told} ${code}`;
  };
  for (const [event, how] of Object.entries({
    abort: 'over 0',
    terminate: 'now 1',
    exit: ' 3',
    throw: ' 1',
  })) {
    const ended = await Promise.all(moments.map((moment) => end(moment, event)));
    const expected = moments.map((moment) => `${moment} ${how}`);
    assert.deepEqual(ended, expected, event);
  }
  assert.equal(await settledLiving(), 0);
});

test('the end of the process at each moment', async () => {
  for (const [event, code, printed] of [
    ['exit', 3, /^$/],
    ['throw', 1, /Error: thrown\n/],
  ]) {
    const end = (moment) => run(process.execPath, ['-e', `${met(moment, event)} () => {});`]);
    const ended = await Promise.all(moments.map(end));
    for (const [i, { status, stderr }] of ended.entries()) {
      assert.equal(status, code, `${event} ${moments[i]} ${stderr}`);
      assert.match(stderr, printed);
    }
  }
  const script = `require(${JSON.stringify(file)}).tasks.count(9, 0, { onProgress() {} })
    .then(() => setTimeout(() => console.log('unreferenced'), 5000).unref())`;
  const { status, stdout } = await run(process.execPath, ['-e', script]);
  assert.deepEqual([status, stdout], [0, '']);
});

'use strict';

// Functions of the plain road: how they look and count, what they throw, what they are given to call.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const { test } = require('node:test');
const vm = require('node:vm');

const { run, shown, thrownBy } = require('../support');

const file = require.resolve('../build/Release/plain.node');
const plain = require(file);
const { add, apply, fail, ninth, nothing, set, swallow } = plain;
const ZaxBindingError = globalThis[Symbol.for('zaxbase.ZaxBindingError')];

test('a function looks and counts as one of JavaScript', () => {
  assert.deepEqual([add.name, add.length, ninth.length, 'prototype' in add], ['add', 1, 9, false]);
  assert.throws(() => new add(1), TypeError);
  assert.deepEqual([add(1), add(1, undefined), add(1, null), add(1, 2)], [11, 11, 11, 3]);
  assert.equal(ninth(1, 2, 3, 4, 5, 6, 7, 8, { x: 9, on: true }), 9);
});

test('what a function throws', () => {
  const nine = [1, 2, 3, 4, 5, 6, 7, 8, { x: 1 }];
  for (const [code, type, message, fn, ...args] of [
    ['EBADARG', 'zax::BadArgumentNumber', ' 1 to 2, but got 3', add, 1, 2, 3],
    ['EBADARG', 'zax::BadArgumentNumber', ' 0, but got 1', nothing, undefined],
    ['EBADARG', 'zax::BadArgument', 'add: argument 2 (in): integer', add, 1, 'x'],
    ['EBADARG', 'zax::BadArgument', 'ninth: argument 9.on: boolean', ninth, ...nine],
    ['EBADARG', 'zax::BadArgument', 'set: object expected, got 5', set, 5, 'x'],
    ['EBADARG', 'zax::BadArgument', 'set: string or symbol expected', set, {}, 5],
    ['EBADARG', 'zax::BadArgument', 'apply: argument 1 (f): function', apply, {}, ''],
    ['EBADARG', 'zax::BadArgument', 'apply: result of the callback: str', apply, () => 1, ''],
    ['EACCES', 'std::system_error', 'gone: Permission denied', fail, 'system', 'gone'],
    ['EACCES', 'std::system_error', 'JavaScript threw', swallow, assert.fail, 'system'],
    ['UNKNOWN-ERRNO', 'std::system_error', 'x: iostream error', fail, 'stream', 'x'],
    ['EUNKNOWN', 'std::runtime_error', 'dïsk', fail, 'std', 'dïsk'],
    ['EUNKNOWN', 'std::runtime_error', 'xxx', fail, 'huge', ''],
    ['EFAILED', 'int', 'no exception: int', fail, 'int', ''],
    ['EFAILED', 'char const*', 'no exception: char const*', fail, 'text', ''],
  ]) {
    const error = thrownBy(fn, ...args);
    const { exceptionClass, file: place, function: name } = error.details;
    assert.ok(error instanceof ZaxBindingError && error.message.includes(message), error.message);
    assert.deepEqual([error.code, exceptionClass, place, name], [code, type, 'native', fn.name]);
    const stack = `ZaxBindingError: ${error.message}\n    at ${name} (native)\n    at thrownBy (`;
    assert.ok(error.stack.startsWith(stack), error.stack);
  }
  assert.throws(() => set(Object.freeze({}), 'x'), TypeError);
  const missing = thrownBy(fail, 'file', '/none/é');
  assert.match(missing.message, /\[\/none\/é\]$/);
  assert.deepEqual([missing.code, missing.details.syscode], ['ENOENT', 2]);
  const own = thrownBy(fail, 'zax', '%(what)s');
  assert.match(shown(own), /^EZAX: no %\(what\)s \(zax::Exception in fail, .*plain\.cpp\)$/);
  assert.match(own.stack, /\n {4}at fail \(.*plain\.cpp:\d+\)\n {4}at thrownBy/);
  const { callstack } = thrownBy(fail, 'traced', '').details;
  const { function: library, ...rest } = callstack.find((frame) => /plain/.test(frame.function));
  assert.match(library, /plain\.node\(/);
  assert.deepEqual(rest, { file: '???', offset: '0x0', address: '0x0' });
});

test('functions as arguments', () => {
  assert.equal(
    apply((...args) => JSON.stringify(args), 'é'),
    '["é",1]',
  );
  const mine = new RangeError('mine');
  assert.equal(
    thrownBy(apply, () => assert.fail(mine), ''),
    mine,
  );
  plain.keep(() => assert.fail(mine), Buffer.alloc(1));
  assert.equal(thrownBy(plain.callKept), mine);
  assert.match(
    thrownBy(plain.callElsewhere, test).message,
    /only on the thread that it belongs to/,
  );
});

test('a function that another thread lets go can be collected', async () => {
  const keep = (kept) => plain.keep(kept, Buffer.alloc(1)) ?? new WeakRef(kept);
  const dropped = keep(() => {});
  plain.release();
  keep(() => {});
  await new Promise(setImmediate);
  globalThis.gc();
  assert.equal(dropped.deref(), undefined);
});

test('one class of errors for all copies, in all contexts; what the body throws', () => {
  const copy = file.replace('plain.node', 'copy.node');
  fs.copyFileSync(file, copy);
  process.env.PLAIN_FAILS = '1';
  assert.match(shown(thrownBy(require, copy)), /^EZAX: no body \(zax::Exception in fail/);
  delete process.env.PLAIN_FAILS;
  const { add: f } = require(copy);
  assert.notEqual(f, add);
  assert.ok(vm.runInNewContext('try { f() } catch (e) { e }', { f }) instanceof ZaxBindingError);
});

test('errors in a program that is not as usual', async () => {
  const print = 'try { load().add() } catch (error) { console.log(error.stack) }';
  const stack = /^ZaxBindingError: Bad arg.* got 0\n {4}at add \(native\)\n {4}at \[eval/;
  assert.match(await inProcess(print, '--frozen-intrinsics'), stack);
  const taken = 'Reflect.set = Object.assign = Error.captureStackTrace = globalThis.String = null';
  assert.match(await inProcess(`load(); ${taken}; ${print}`), stack);
  assert.match(await inProcess(`Error.stackTraceLimit = 0; ${print}`), /at add \(native\) 0$/);
});

/** What a program prints in a process of its own, and its exit status. */
async function inProcess(code, flag = '--no-warnings') {
  const script = `
    const { once } = require('node:events');
    const { Worker } = require('node:worker_threads');
    const file = ${JSON.stringify(file)};
    const load = () => (delete require.cache[file], require(file));
    const begin = (code) => new Worker(
      'const { parentPort } = require("node:worker_threads");' +
      'const plain = require(' + JSON.stringify(file) + ');' + code, { eval: true });
    const end = (code) => once(begin(code), 'exit');
    (async () => { ${code} })();`;
  const { status, stdout, stderr } = await run(process.execPath, [flag, '-e', script]);
  return [stdout.trim(), status, stderr].join(' ').trim();
}

test('Workers before and after the main thread, and beside it', async () => {
  const printed = await inProcess(`
    const add = 'process.exitCode = plain.add(1)';
    const codes = [await end(add), await end(add)];
    const first = load();
    codes.push(...(await Promise.all([end(add), end(add)])));
    const second = load();
    codes.push(await end(add));
    console.log(codes.join(), first.add(1), second.add(2), load().add(3), first.destroyed());`);
  assert.equal(printed, '11,11,11,11,11 11 12 13 5 0');
});

test('what outlives its Worker, and its process', async () => {
  const printed = await inProcess(`
    await end(\`parentPort.postMessage(plain.owned('y'.repeat(1e6)));
      plain.keep(() => 1, Buffer.alloc(1)); plain.keep(plain.add, Buffer.alloc(1e5, 7))\`);
    const plain = load();
    try { plain.callKept(); } catch (error) { console.log(error.code); }
    console.log(plain.release());
    plain.keep(() => 1, Buffer.alloc(1));`);
  assert.equal(printed, 'EFAILED\n7 0');
  const exit = 'load().same.points(Array(20).fill({ get x() { process.exit(3); } }))';
  assert.equal(await inProcess(`load().keep(() => 1, Buffer.alloc(1)); ${exit}`), '3');
});

test('a Worker that is terminated in a conversion, or in a callback', async () => {
  const printed = await inProcess(`
    const row = '({ get x() { parentPort.postMessage("in"); for (;;); } })';
    const many = 'plain.same.points(Array(5e6).fill({ x: 1, on: true }))';
    const calls = ['', 'system', 'zax', 'std'].map((how) => \`swallow(() => \${row}.x, '\${how}')\`);
    calls.push('same.map(' + row + ')', 'same.points(Array(20).fill(' + row + '))');
    calls.push('same.points([' + row + '])', 'add(parentPort.postMessage("in"), ' + many + ')');
    for (const call of calls) {
      const worker = begin('plain.' + call);
      await once(worker, 'message');
      console.log(await worker.terminate());
    }
    console.log(load().add(1));`);
  assert.equal(printed, `${'1\n'.repeat(8)}11 0`);
});

// The thread sanitizer's frames are larger than what V8 leaves of the stack.
const skip = /tsan/.test(process.env.TEST_PRELOAD);
test('a conversion deep in the stack of a Worker', { skip }, async () => {
  const printed = await inProcess(`
    const worker = begin(\`
      const cycle = { nodes: [] };
      cycle.nodes.push(cycle);
      const names = new Set();
      const sink = (depth) => {
        try { if (depth % 1000 === 0) plain.same.node(cycle); } catch ({ name }) { names.add(name); }
        sink(depth + 1);
      };
      try { sink(0); } catch ({ name }) { parentPort.postMessage(names.has('ZaxBindingError') + name); }\`);
    console.log(...await once(worker, 'message'));`);
  assert.equal(printed, 'trueRangeError 0');
});

'use strict';

const assert = require('node:assert');
const { AsyncLocalStorage } = require('node:async_hooks');
const fs = require('node:fs');
const { createRequire } = require('node:module');
const { test } = require('node:test');
const { isNativeError } = require('node:util/types');
const vm = require('node:vm');
const runtime = require('zaxbase/runtime');
const { bridge, run, thrownBy } = require('../support');

const { __, ZaxBindingError, createZaxBindingError, install, promisify } = runtime;

const linesOf = (error) => error.stack.split('\n').map((line) => line.trim());

test('messages', () => {
  const values = { a: '1', b: '%(a)s', 'c d': '3', '': '4' };
  const table = {
    'x %(a)s%(a)s y': 'x 11 y',
    '%(b)s %(c d)s.': '%(a)s 3.',
    '%(z)s %(toString)s': '<unknown> <unknown>',
    '%(a(b)s|%(a\nb)s': '<unknown>|<unknown>',
    '': '',
  };
  for (const cut of ['x', 'x% %(a)s', 'x%% %(a)s', 'x%(a', 'x%(a)d %(a)s', 'x%()s y', 'x%']) {
    table[cut] = 'x';
  }
  for (const [format, expected] of Object.entries(table)) {
    assert.strictEqual(__(format, values), expected, format);
    assert.strictEqual(__(format), format);
  }
});

test('the error', () => {
  const error = thrownBy(bridge.throwRecord, -1, '', '');
  assert.ok(error instanceof ZaxBindingError && error instanceof Error && isNativeError(error));
  assert.strictEqual(error.name, 'ZaxBindingError');
  const lines = linesOf(error);
  const native = ['at work (native.cpp:12)', 'at outer', 'at main'];
  assert.deepStrictEqual(lines.slice(0, 4), ['ZaxBindingError: at hand', ...native]);
  assert.match(lines[4], /^at thrownBy \(.*support\.js:\d+:\d+\)$/);
  error.stack = 'replaced';
  assert.strictEqual(error.stack, 'replaced');
  assert.deepStrictEqual(Object.keys(error), ['code', 'details']);

  const { stackTraceLimit } = Error;
  Error.stackTraceLimit = 1;
  for (const bare of [new ZaxBindingError(), createZaxBindingError('C', null, {})]) {
    assert.match(bare.stack, /^ZaxBindingError\n {4}at .*runtime\.test\.js:\d+:\d+\)?$/);
  }
  assert.strictEqual(Error.stackTraceLimit, 1);
  Error.stackTraceLimit = stackTraceLimit;
});

test('installed functions do not show and do not replace those of the application', async () => {
  const own = () => 'own';
  globalThis.__ = own;
  delete globalThis.createZaxBindingError;
  install();
  assert.strictEqual(globalThis.__, own);
  assert.strictEqual(globalThis.createZaxBindingError, createZaxBindingError);
  delete globalThis.__;
  install();
  assert.strictEqual(globalThis.__, __);
  const shown = Object.keys(globalThis).filter((key) => key in runtime);
  assert.deepStrictEqual(shown, []);

  // They serve native code from any context, and where intrinsics are frozen.
  delete globalThis.createZaxBindingError;
  const file = require.resolve('zaxbase/runtime');
  const context = vm.createContext({ require: createRequire(file), module: {}, __: 'own' });
  vm.runInContext(fs.readFileSync(file, 'utf8'), context);
  context.module.exports.install();
  assert.strictEqual(context.__, 'own');
  assert.strictEqual(context.createZaxBindingError, globalThis.createZaxBindingError);
  assert.ok(thrownBy(bridge.raise, 'std') instanceof context.module.exports.ZaxBindingError);
  globalThis.createZaxBindingError = createZaxBindingError;
  const args = ['--frozen-intrinsics', '-e', "require('../support').bridge.raise('std');"];
  const { stderr } = await run(process.execPath, args, { cwd: __dirname });
  assert.match(stderr, /ZaxBindingError: disk full\n {4}at std::runtime_error \(native\)\n/);
});

test('the promise form', async () => {
  assert.strictEqual(await promisify(bridge.call.string)('text'), 'text');
  assert.strictEqual(await promisify(bridge.call.bare)(), undefined);
  // Only the form of a job that notifies takes a function for itself.
  assert.strictEqual(await promisify(bridge.callCopies)(assert.fail), 'assigned');
  function replyThis(callback) {
    callback(0, this);
  }
  const object = { self: promisify(replyThis) };
  assert.strictEqual(await object.self(), object);
  const fail = promisify((callback) => callback('no Error'));
  await assert.rejects(fail, (error) => error === 'no Error');
});

test('failures in the promise form show where they come from', async () => {
  const job = promisify(bridge.job);
  const nameOfCaller = (...args) => job(...args);
  const table = [
    [['zax', [], [], ''], 'RAISED', 'raise (bridge/bridge/errors.cpp:'],
    [['', ['zax'], [], ''], 'RAISED', 'raise (bridge/bridge/errors.cpp:'],
    [['', [], ['replyError'], ''], 'SENT', 'run (bridge/bridge/jobs.cpp:'],
    [['std', [], [], ''], 'EUNKNOWN', 'std::runtime_error (native)'],
    [['', []], 'EBADARG', 'BadArgumentNumber (libzaxbase/zax-exception-common.cpp:'],
  ];
  for (const [args, code, place] of table) {
    const error = await nameOfCaller(...args).catch((reason) => reason);
    assert.strictEqual(error.code, code);
    const [, first, ...others] = linesOf(error);
    assert.ok(first.startsWith(`at ${place}`), first);
    assert.ok(others.some((line) => line.startsWith('at nameOfCaller (')));
  }
});

test('progress in the promise form', async () => {
  const settles = (value, args) => args.length === 4 && value === 'done';
  const job = promisify(bridge.job, { settles });
  const storage = new AsyncLocalStorage();
  const progress = [];
  const onProgress = (...args) => progress.push([storage.getStore(), ...args]);
  const begin = () => job('', ['notify', 'notify'], ['reply'], '', onProgress);
  await Promise.all(['a', 'b'].map((name) => storage.run(name, begin)));
  assert.deepStrictEqual(progress.map(String).sort(), ['a,1', 'a,2', 'b,1', 'b,2']);
  const failing = job('', ['notify', 'zax'], [], '', (value) => progress.push(value));
  await assert.rejects(failing, { code: 'RAISED' });
  assert.strictEqual(progress.pop(), 1);
  // No onProgress, an `undefined` in its place, and one that is an argument.
  for (const last of [[''], ['', undefined], [undefined]]) {
    assert.strictEqual(await job('', ['notify'], ['reply'], ...last), 'done');
  }
  await assert.rejects(job('', [], undefined), /^ZaxBindingError: .* expected 4, but got 3$/);
});

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
  assert.deepEqual([add.name, add.length, ninth.length, nothing.length], ['add', 1, 9, 0]);
  assert.ok(!('prototype' in add));
  assert.throws(() => new add(1), TypeError);
  assert.deepEqual([add(1), add(1, undefined), add(1, null), add(1, 2)], [11, 11, 11, 3]);
  assert.equal(nothing.call(5), undefined);
  assert.equal(ninth(1, 2, 3, 4, 5, 6, 7, 8, { x: 9, on: true }), 9);
});

test('what a function throws', () => {
  const odd = { x: 1 };
  for (const [code, type, message, fn, ...args] of [
    ['EBADARG', 'zax::BadArgumentNumber', / 1 to 2, but got 0$/, add],
    ['EBADARG', 'zax::BadArgumentNumber', / 1 to 2, but got 3$/, add, 1, 2, 3],
    ['EBADARG', 'zax::BadArgumentNumber', / 0, but got 1$/, nothing, undefined],
    ['EBADARG', 'zax::BadArgument', /^add: argument 2 \(in\): integer/, add, 1, 'x'],
    [
      'EBADARG',
      'zax::BadArgument',
      /^ninth: argument 9\.on: b/,
      ninth,
      1,
      2,
      3,
      4,
      5,
      6,
      7,
      8,
      odd,
    ],
    ['EBADARG', 'zax::BadArgument', /^set: object expected, got 5$/, set, 5, 'x'],
    ['EBADARG', 'zax::BadArgument', /^set: string or symbol expected/, set, {}, 5],
    ['EBADARG', 'zax::BadArgument', /^apply: argument 1 \(f\): function/, apply, {}, ''],
    ['EBADARG', 'zax::BadArgument', /^apply: result of the callback: string/, apply, () => 1, ''],
    ['EACCES', 'std::system_error', /^gone: Permission denied$/, fail, 'system', 'gone'],
    ['EACCES', 'std::system_error', /^JavaScript threw/, swallow, assert.fail, 'system'],
    ['UNKNOWN-ERRNO', 'std::system_error', /^x: iostream error$/, fail, 'stream', 'x'],
    ['ENOENT', /filesystem_error$/, /\[\/none\/é\]$/, fail, 'file', '/none/é'],
    ['EUNKNOWN', 'std::runtime_error', /^dïsk$/, fail, 'std', 'dïsk'],
    ['EUNKNOWN', 'std::runtime_error', /^x{100}/, fail, 'huge', ''],
    ['EFAILED', 'int', /no exception: int$/, fail, 'int', ''],
    ['EFAILED', 'char const*', /no exception: char const\*$/, fail, 'text', ''],
  ]) {
    const error = thrownBy(fn, ...args);
    const { exceptionClass, file: place, function: name } = error.details;
    assert.ok(error instanceof ZaxBindingError);
    assert.match(error.message, message);
    assert.ok(type.test?.(exceptionClass) ?? exceptionClass === type);
    assert.deepEqual([error.code, place, name], [code, 'native', fn.name]);
    const stack = `ZaxBindingError: ${error.message}\n    at ${name} (native)\n    at thrownBy (`;
    assert.ok(error.stack.startsWith(stack), error.stack);
  }
  assert.throws(() => set(Object.freeze({}), 'x'), TypeError);
  const { syscode, sysmsg } = thrownBy(fail, 'file', '/none/é').details;
  assert.deepEqual([syscode, sysmsg], [2, 'No such file or directory']);
  const own = thrownBy(fail, 'zax', '%(what)s');
  assert.match(shown(own), /^EZAX: no %\(what\)s \(zax::Exception in fail, .*plain\.cpp\)$/);
  assert.match(own.stack, /\n {4}at fail \(.*plain\.cpp:\d+\)\n {4}at thrownBy/);
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
  let calls = 0;
  plain.keep(() => ++calls, Buffer.alloc(1));
  plain.callKept();
  assert.equal(calls, 1);
  assert.match(
    thrownBy(plain.callElsewhere, test).message,
    /only on the thread that it belongs to/,
  );
  assert.equal(swallow(assert.fail, '').length, 20);
});

test('one class of errors for all copies, in all contexts; what the body throws', () => {
  const copy = file.replace('plain.node', 'copy.node');
  fs.copyFileSync(file, copy);
  process.env.PLAIN_FAILS = '1';
  assert.match(shown(thrownBy(require, copy)), /^EZAX: no body \(zax::Exception in fail/);
  delete process.env.PLAIN_FAILS;
  const other = require(copy).add;
  assert.notEqual(other, add);
  const caught = vm.runInNewContext('try { other() } catch (error) { error }', { other });
  assert.ok(caught instanceof ZaxBindingError);
});

for (const [code, flag = '--no-warnings'] of [
  ['0', '--frozen-intrinsics'],
  ['Error.stackTraceLimit = 0'],
  ['Reflect.set = Object.assign = Error.captureStackTrace = globalThis.String = undefined'],
]) {
  test(`an error after ${code} ${flag}`, async () => {
    const script = `const { add } = require(${JSON.stringify(file)}); ${code};
      try { add() } catch (error) { console.log(error.stack) }`;
    const { stdout } = await run(process.execPath, [flag, '-e', script]);
    const rest = code.includes('Limit') ? '$' : ' {4}at \\[eval\\]';
    const head = 'Bad argument number: expected 1 to 2, but got 0\n    at add \\(native\\)\n';
    assert.match(stdout, new RegExp(`^ZaxBindingError: ${head}${rest}`));
  });
}

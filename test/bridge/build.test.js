'use strict';

const assert = require('node:assert');
const { test } = require('node:test');
const { bridge, inChild, repliesOf } = require('./support');

test('native values as properties', () => {
  const object = { int: 'overwritten' };
  bridge.insertAll(object);
  assert.deepStrictEqual(object, {
    string: 'a\0b',
    cString: 'a',
    bool: true,
    int: -5,
    unsigned: 4294967295,
    long: 9007199254740992,
    unsignedLong: 2 ** 64,
    double: 0.1,
    list: ['b', 'a', 'b'],
    emptyList: [],
    object: {},
    array: new Array(2),
    twice: 2,
    7: 8,
    'k\0é': false,
  });
});

test('containers fill objects and arrays', () => {
  const { map, counts, list, set } = bridge.fill;
  const numbers = { odd: '9007199254740993', max: '18446744073709551615' };
  const table = [
    [map, { a: 'old', z: 'kept' }, { b: '2', a: '1' }, { a: '1', z: 'kept', b: '2' }],
    [map, {}, {}, {}],
    [counts, {}, numbers, { max: 2 ** 64, odd: 2 ** 53 }],
    [list, [1, 2, 3, 4, 5], ['b', 'a'], ['b', 'a', 3, 4, 5]],
    [list, [1], ['b', 'a', 'b'], ['b', 'a', 'b']],
    [list, [1], [], [1]],
    [set, [1, 2, 3, 4], ['b', 'a', 'c', 'a'], ['a', 'b', 'c', 4]],
  ];
  for (const [fill, target, source, expected] of table) {
    fill(target, source);
    assert.deepStrictEqual(target, expected);
    assert.deepStrictEqual(Object.keys(target), Object.keys(expected));
  }
  // A setter that throws does not end the filling, and its error is not lost.
  const scriptError = new RangeError('from setter');
  const setter = () => {
    throw scriptError;
  };
  const target = Object.defineProperty({}, 'a', { set: setter });
  assert.throws(() => map(target, { a: '1', b: '2' }), scriptError);
  assert.strictEqual(target.b, '2');
});

test('the arguments of each kind of reply', () => {
  const { call, child } = bridge;
  const object = {};
  const table = [
    [call.bare, [], []],
    [call.int, [-7], [0, -7]],
    [call.string, ['é'], [0, 'é']],
    [call.list, [['b', 'a', 'b']], [0, ['b', 'a', 'b']]],
    [call.list, [[]], [0, []]],
    [call.set, [['b', 'a', 'b']], [0, ['a', 'b']]],
    [call.map, [{ k: 'v' }], [0, { k: 'v' }]],
    [call.counts, [{ k: '18446744073709551615' }], [0, { k: 2 ** 64 }]],
    [child.value, [{ object }, 'object'], [null, object]],
  ];
  for (const [fn, args, expected] of table) {
    assert.deepStrictEqual(repliesOf(fn, ...args), [expected]);
  }
  let receiver;
  call.bare(function callback() {
    receiver = this;
  });
  assert.strictEqual(receiver, globalThis);
});

test('callbacks are copied, kept and let go', async () => {
  const texts = repliesOf(bridge.callCopies, assert.fail).map(([, text]) => text);
  assert.deepStrictEqual(texts, ['assigned', 'self-assigned', 'copied', 'moved']);

  const calls = [];
  const keep = (name) => {
    const callback = (_, value) => calls.push(name + value);
    bridge.keep(callback);
    return new WeakRef(callback);
  };
  const collect = async () => {
    await new Promise(setImmediate);
    globalThis.gc();
  };
  const first = keep('first');
  await collect();
  bridge.callKept(1);
  keep('second');
  await collect();
  assert.strictEqual(first.deref(), undefined);
  bridge.callKept(2);
  assert.deepStrictEqual(calls, ['first1', 'second2']);
});

test('a template outlives its maker', () => {
  const fn = bridge.fromTemplate();
  globalThis.gc();
  assert.deepStrictEqual([fn(), bridge.fromTemplate()()], [42, 42]);
});

test('functions called by name', () => {
  const { stdout, stderr } = inChild((native) => {
    function join(...args) {
      return [this === globalThis, ...args].join();
    }
    Object.assign(globalThis, { join, fail: () => JSON.parse('{'), nothing: null, number: 5 });
    console.log(native.v8call('join'), native.v8call('join', 1, 'b'));
    console.log(native.v8call('nothing'), native.v8call('number'), native.v8call('absent'));
    try {
      native.v8call('fail');
    } catch (error) {
      console.log(error.name);
    }
  });
  assert.strictEqual(stdout, 'true true,1,b\nnull null null\nSyntaxError\n');
  const lines = ['nothing not found', 'number is not a function', 'absent is not a function'];
  assert.strictEqual(stderr, lines.map((line) => `JS object ${line}\n`).join(''));
});

test('a callback that throws is an uncaught exception, not one of the call', () => {
  const run = (native, handled) => {
    if (handled) process.on('uncaughtException', ({ message }) => console.log(message));
    const fail = (_, text) => {
      throw new Error(`from ${text}`);
    };
    console.log('returned', native.callCopies(fail, fail));
  };
  const { stdout, status } = inChild(run, true);
  const lines = ['from assigned', 'from self-assigned', 'from copied', 'from moved'];
  assert.strictEqual(stdout, `${lines.join('\n')}\nreturned undefined\n`);
  assert.strictEqual(status, 0);
  const unhandled = inChild(run, false);
  assert.deepStrictEqual([unhandled.status, unhandled.stdout], [1, '']);
  assert.match(unhandled.stderr, /Error: from assigned/);
});

'use strict';

// Values on their way into native code and out of it. What each conversion makes of any value is in
// test/property.

const assert = require('node:assert');
const { test } = require('node:test');
const { bad, bridge, repliesOf, shown, thrownBy } = require('../support');

const { call, child, into } = bridge;

const scriptError = new RangeError('thrown by the script');
const get = () => {
  throw scriptError;
};
const badArray = (element) => Object.defineProperty([element], 1, { get });
const badObject = Object.defineProperty({ a: '1' }, 'b', { get, enumerable: true });
const untouched = new Proxy([], { get: assert.fail });

test('an error of the script on the way is replaced by one of the framework', () => {
  const table = [
    ['list', badArray('a'), ['a'], 'String expected', 'parseStringList'],
    ['ints', badArray(1), [1], 'Number expected', 'parseIntVector'],
    ['map', badObject, [['a', '1']], 'Value of b expected to be String', 'parseStringStringMap'],
    ['map', new Proxy({}, { ownKeys: get }), [], '', 'parseStringStringMap', 202],
  ];
  for (const [type, input, left, ...expected] of table) {
    const [[value, error, thrown]] = repliesOf(into[type], input, undefined);
    assert.deepStrictEqual([value, shown(error), thrown], [left, bad(...expected), scriptError]);
    const ofCall = thrownBy(into[type], undefined, input, assert.fail);
    assert.strictEqual(shown(ofCall), bad(...expected));
    // Nothing is left behind.
    assert.throws(() => JSON.parse('{'), SyntaxError);
    assert.deepStrictEqual(repliesOf(into.int, 5, 7), [[5, undefined, undefined]]);
  }
});

test('callbacks and numbers of arguments', () => {
  const count = (got) =>
    `EBADARG: Bad argument number: expected 5, but got ${got} ` +
    '(zax::BadArgumentNumber in BadArgumentNumber, libzaxbase/zax-exception-common.cpp)';
  const table = [
    [[], count(0)],
    [[1, 2, 3, 4], count(4)],
    [[1, 2, 3, 4, 5, 6], count(6)],
    [[1, untouched, untouched, 2, 3], bad('String expected', 'parseString')],
    [['', [1], untouched, 2, 3], bad('String expected', 'parseStringList')],
    [['', [], [], '', undefined], bad('Function undefined', 'parseCallback')],
    [['', [], [], '', {}], bad('Function expected', 'parseCallback')],
  ];
  for (const [args, expected] of table) {
    assert.strictEqual(shown(thrownBy(bridge.job, ...args)), expected);
  }
  const [old, fresh] = [() => 'old', () => 'new'];
  assert.strictEqual(repliesOf(into.callback, null, old)[0][0], 'old');
  assert.strictEqual(repliesOf(into.callback, fresh, old)[0][0], 'new');
});

test('children of an object', () => {
  const found = [
    [Object.create({ b: 'inherited' }), 'b', 'inherited'],
    [['x'], '0', 'x'],
    [function named() {}, 'name', 'named'],
    [{ schlüssel: 'é' }, 'schlüssel', 'é'],
    [new Proxy({}, { get: (_, name) => `${name}?` }), 'k', 'k?'],
  ];
  for (const [object, name, expected] of found) {
    assert.deepStrictEqual(repliesOf(child.value, object, name), [[null, expected]]);
  }
  const table = [
    ['string', 'é', 'é', '', 'old', 'String expected', 'parseString'],
    ['int', -1, -1, 0, 7, 'Number expected', 'parseInt'],
    ['unsigned', 9, 9, 0, 7, 'Unsigned 32-bit number expected', 'parseInt'],
    ['bool', true, true, false, true, 'Boolean expected', 'parseBoolean'],
    ['map', { k: 'v' }, [['k', 'v']], [], { o: 'o' }, 'Object expected', 'parseStringStringMap'],
    ['list', ['b', 'a'], ['b', 'a'], [], ['old'], 'Array expected', 'getChildStringList'],
  ];
  for (const [type, input, value, reset, before, ...expected] of table) {
    for (const [object, ...outcome] of [
      [{ b: input }, value, undefined, undefined],
      [{}, reset, undefined, undefined],
      [{ b: null }, reset, bad(...expected), undefined],
      ['text', reset, bad('Object expected', 'getChildValue'), undefined],
      [badObject, reset, bad('', 'getChildValue', 202), scriptError],
    ]) {
      const [[left, error, thrown]] = repliesOf(child[type], object, 'b', before);
      assert.deepStrictEqual([left, shown(error), thrown], outcome, type);
    }
  }
});

test('native values as properties and elements', () => {
  const object = { a: 'overwritten' };
  bridge.insert(object);
  const strings = { a: 'a\0b', b: 'a', twice: 2, 7: 8, 'k\0é': false };
  const numbers = { c: true, d: -5, e: 2 ** 32 - 1, f: 2 ** 53, g: 2 ** 64, h: 0.1 };
  const objects = { i: ['b', 'a', 'b'], j: [], k: {}, l: new Array(2) };
  assert.deepStrictEqual(object, { ...strings, ...numbers, ...objects });

  const array = [1, 2, 3];
  bridge.fillArray(array, ['b', 'a']);
  assert.deepStrictEqual(array, ['b', 'a', 3]);
  // A setter that throws does not end the filling, and its error is not lost.
  const target = Object.defineProperty({ b: 'old', kept: 1 }, 'a', { set: get });
  assert.throws(() => bridge.fillObject(target, { a: '1', b: '2' }), scriptError);
  assert.deepStrictEqual({ ...target }, { b: '2', kept: 1 });
});

test('the arguments of each kind of reply', () => {
  const table = [
    [call.bare, [], []],
    [call.int, [-7], [0, -7]],
    [call.string, ['é'], [0, 'é']],
    [call.list, [['b', 'a', 'b']], [0, ['b', 'a', 'b']]],
    [call.set, [['b', 'a', 'b']], [0, ['a', 'b']]],
    [call.map, [{ k: 'v' }], [0, { k: 'v' }]],
    [call.counts, [], [0, { odd: 2 ** 53, max: 2 ** 64 }]],
  ];
  for (const [fn, args, expected] of table) {
    assert.deepStrictEqual(repliesOf(fn, ...args), [expected]);
  }
});

test('callbacks are copied, kept and let go; a template outlives its maker', async () => {
  const texts = repliesOf(bridge.callCopies, assert.fail).map(([, text]) => text);
  assert.deepStrictEqual(texts, ['assigned', 'self-assigned', 'copied', 'moved']);

  const calls = [];
  const fn = bridge.fromTemplate();
  const keep = async (name) => {
    const callback = (_, value) => calls.push(name + value);
    bridge.keep(callback);
    await new Promise(setImmediate);
    globalThis.gc();
    return new WeakRef(callback);
  };
  const first = await keep('first');
  bridge.callKept(1);
  await keep('second');
  assert.strictEqual(first.deref(), undefined);
  bridge.callKept(2);
  assert.deepStrictEqual(calls, ['first1', 'second2']);
  assert.deepStrictEqual([fn(), bridge.fromTemplate()()], [42, 42]);
});

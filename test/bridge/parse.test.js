'use strict';

const assert = require('node:assert');
const { test } = require('node:test');
const { bridge, replyOf, shown, thrownBy } = require('./support');

const { child, into } = bridge;
const parse = (type, value) => replyOf(bridge.parse[type], value);

const bad = (message, fn, errno = 201) =>
  `${errno === 201 ? 'EBADARG' : 'EFAILED'}: ${message} ` +
  `(zax::ErrnoGenericException<(zax::Errno)${errno}> in ${fn}, libzaxbase/zax-v8-utils.cpp)`;
const badValue = (key) => `Value of ${key} expected to be String`;

const scriptError = new RangeError('thrown by the script');
const get = () => {
  throw scriptError;
};
const badArray = (...elements) => Object.defineProperty(elements, elements.length, { get });
const badObject = Object.defineProperty({ a: '1' }, 'b', { get, enumerable: true });

const is = (type) => (value) => typeof value === type;
const isArray = Array.isArray;
const isObject = (value) => Object(value) === value;

// What each type accepts, the error's message and function, what the output held before, and what
// it holds after `undefined` and, if it is not the same, after a failure.
const types = {
  string: [is('string'), 'String expected', 'parseString', 'old', ''],
  int: [is('number'), 'Number expected', 'parseInt', 7, 0],
  unsigned: [is('number'), 'Unsigned 32-bit number expected', 'parseInt', 7, 0],
  long: [is('number'), 'Number expected', 'parseInt', 7, 0],
  bool: [is('boolean'), 'Boolean expected', 'parseBoolean', true, false],
  boolean_t: [is('boolean'), 'Boolean expected', 'parseBoolean', true, 0, 1],
  callback: [is('function'), 'Function expected', 'parseCallback', () => 'old', undefined, 'old'],
  list: [isArray, 'Array expected', 'parseStringList', ['old'], []],
  set: [isArray, 'Array expected', 'parseStringSet', ['old'], []],
  ints: [isArray, 'Array expected', 'parseIntVector', [7], []],
  unsigneds: [isArray, 'Array expected', 'parseIntVector', [7], []],
  pairs: [isObject, 'Object expected', 'parseStringPairs', { o: 'old' }, []],
  map: [isObject, 'Object expected', 'parseStringStringMap', { o: 'old' }, []],
  intMap: [isObject, 'Object expected', 'parseIntStringMap', { 1: 'old' }, []],
};

test('accepted values', () => {
  const table = [
    ['string', 'a\0b', 'a'],
    ['string', 'é€😀', 'é€😀'],
    ['string', '\ud800x', '\ufffd\ufffd\ufffdx'], // A lone surrogate passes as three bytes.
    ['string', 'x'.repeat(1e5), 'x'.repeat(1e5)],
    ['bool', false, false],
    ['boolean_t', true, 1],
    ['callback', () => 'called', 'called'],
    ['list', ['a', 'b', 'a', 'c\0d'], ['a', 'b', 'a', 'c']],
    ['set', ['b', 'é', 'a', 'b', 'B'], ['B', 'a', 'b', 'é']],
    ['pairs', { b: '2', a: '1' }, Object.entries({ b: '2', a: '1' })],
    ['map', { b: '2', a: '1' }, Object.entries({ a: '1', b: '2' })],
    ['map', { 'k\0x': '1', k: '2' }, [['k', '2']]],
    ['map', { 4294967295: 'no index' }, [['4294967295', 'no index']]],
    ['map', Object.create({ inherited: 1 }, { hidden: { value: 2 } }), []],
    ['map', { [Symbol('s')]: 3 }, []],
    ['map', new Proxy({ p: 'q' }, {}), [['p', 'q']]],
    ['intMap', { 4294967294: 'last index' }, [[-2, 'last index']]],
    ['intMap', ['a'], [[0, 'a']]],
  ];
  for (const [type, value, expected] of table) {
    assert.deepStrictEqual(parse(type, value), expected, type);
  }
  const [[first], [second]] = parse('intMap', { 3: 'c', 1: 'a' });
  assert.deepStrictEqual([first, second], [1, 3]);
  const held = types.callback[3];
  assert.deepStrictEqual(
    replyOf(into.callback, () => 'new', held),
    { value: 'new' },
  );
});

test('refused values and undefined', () => {
  const values = [null, true, 5, 5n, '5', Symbol('s'), {}, [], () => {}];
  const boxed = [5, '5', true].map(Object);
  for (const [type, [accepts, message, fn, before, reset, left = reset]] of Object.entries(types)) {
    if (type !== 'callback') {
      assert.deepStrictEqual(replyOf(into[type], undefined, before), { value: reset }, type);
    }
    for (const value of [...values, ...boxed].filter((each) => !accepts(each))) {
      assert.strictEqual(shown(thrownBy(bridge.parse[type], value, get)), bad(message, fn), type);
      assert.deepStrictEqual(replyOf(into[type], value, before).value, left, type);
    }
  }
});

test('what was read before a failure stays', () => {
  const listChild = (list, before, callback) => child.list({ list }, 'list', before, callback);
  const table = [
    [into.list, ['a', 'b', 1, 'c'], ['a', 'b'], 'String expected', 'parseStringList'],
    [into.list, badArray('a'), ['a'], 'String expected', 'parseStringList', scriptError],
    [into.set, ['b', 'a', undefined], ['a', 'b'], 'String expected', 'parseStringSet'],
    [into.ints, badArray(1), [1], 'Number expected', 'parseIntVector', scriptError],
    [into.unsigneds, [-1, null], [2 ** 32 - 1], 'Number expected', 'parseIntVector'],
    [into.pairs, { b: 'x', a: 1 }, [['b', 'x']], badValue('a'), 'parseStringPairs'],
    [into.pairs, { b: 'x', 1: 'y' }, [], 'Key expected to be String', 'parseStringPairs'],
    [into.map, { a: '1', b: undefined }, [['a', '1']], badValue('b'), 'parseStringStringMap'],
    [into.map, badObject, [['a', '1']], badValue('b'), 'parseStringStringMap', scriptError],
    [into.intMap, { 7: 5, 2: 'x' }, [[2, 'x']], badValue('7'), 'parseIntStringMap'],
    [into.intMap, { x: 'b', 1: 'a' }, [[1, 'a']], 'Number expected', 'parseIntStringMap'],
    [listChild, ['a', 1], ['a'], 'String expected', 'getChildStringList'],
    [listChild, badArray('a'), ['a'], 'String expected', 'getChildStringList', scriptError],
  ];
  for (const [row, [reader, input, left, message, fn, scriptThrew]] of table.entries()) {
    const { value, error, thrown } = replyOf(reader, input, reader === into.map ? {} : []);
    assert.deepStrictEqual([value, thrown], [left, scriptThrew], `row ${row}`);
    assert.strictEqual(shown(error), bad(message, fn), `row ${row}`);
  }
});

test('children of an object', () => {
  const found = [
    [Object.create({ k: 'inherited' }), 'k', 'inherited'],
    [['x'], '0', 'x'],
    [function named() {}, 'name', 'named'],
    [{ schlüssel: 'é' }, 'schlüssel', 'é'],
    [new Proxy({}, { get: (_, name) => `${name}?` }), 'k', 'k?'],
  ];
  for (const [object, name, expected] of found) {
    assert.strictEqual(replyOf(child.value, object, name), expected);
    assert.deepStrictEqual(replyOf(child.string, object, name, 'old'), { value: expected });
  }
  const values = { int: -1, unsigned: 2 ** 32 - 1, bool: false, map: { k: 'v' }, list: ['b', 'a'] };
  for (const [type, input] of Object.entries(values)) {
    const [, message, parser, before, reset] = types[type];
    const fn = type === 'list' ? 'getChildStringList' : parser;
    const read = (object) => replyOf(child[type], object, 'b', before);
    assert.deepStrictEqual(read({ b: input }), { value: parse(type, input) }, type);
    assert.deepStrictEqual(read({}), { value: reset }, type);
    const failures = [
      [null, bad('Object expected', 'getChildValue')],
      ['text', bad('Object expected', 'getChildValue')],
      [{ b: null }, bad(message, fn)],
      [badObject, bad('', 'getChildValue', 202), scriptError],
    ];
    for (const [object, expected, scriptThrew] of failures) {
      const { value, error, thrown } = read(object);
      assert.deepStrictEqual([value, shown(error), thrown], [reset, expected, scriptThrew], type);
    }
  }
});

test('a script error on the way is replaced by the error of the framework', () => {
  const { list, ints, map } = bridge.parse;
  const table = [
    [list, [badArray('a')], bad('String expected', 'parseStringList')],
    [ints, [badArray(1)], bad('Number expected', 'parseIntVector')],
    [map, [badObject], bad(badValue('b'), 'parseStringStringMap')],
    [map, [new Proxy({}, { ownKeys: get })], bad('', 'parseStringStringMap', 202)],
    [child.value, [badObject, 'b'], bad('', 'getChildValue', 202)],
  ];
  for (const [fn, args, expected] of table) {
    assert.strictEqual(shown(thrownBy(fn, ...args, assert.fail)), expected);
    // Nothing is left behind.
    assert.throws(() => JSON.parse('{'), SyntaxError);
    assert.strictEqual(parse('int', 5), 5);
  }
});

test('arguments are counted, then converted from left to right', () => {
  const untouched = new Proxy([], { get: assert.fail });
  const number =
    '(zax::BadArgumentNumber in BadArgumentNumber, libzaxbase/zax-exception-common.cpp)';
  const table = [
    [[], `EBADARG: Bad argument number: expected 5, but got 0 ${number}`],
    [[1, 2, 3, 4], `EBADARG: Bad argument number: expected 5, but got 4 ${number}`],
    [[1, 2, 3, 4, 5, 6], `EBADARG: Bad argument number: expected 5, but got 6 ${number}`],
    [[1, untouched, untouched, 2, 3], bad('String expected', 'parseString')],
    [['', [1], untouched, 2, 3], bad('String expected', 'parseStringList')],
    [['', [], [], '', undefined], bad('Function undefined', 'parseCallback')],
  ];
  for (const [args, expected] of table) {
    assert.strictEqual(shown(thrownBy(bridge.job, ...args)), expected);
  }
  assert.strictEqual(
    bridge.parse.int(5, () => 6),
    undefined,
  );
});

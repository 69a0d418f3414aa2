'use strict';

// Each type of values from JavaScript to C++ and back: what is accepted, what is refused and where.

const assert = require('node:assert/strict');
const { constants } = require('node:buffer');
const { test } = require('node:test');
const fc = require('fast-check');

const plain = require('../build/Release/plain.node');
const { thrownBy } = require('../support');

const { same } = plain;
const numRuns = Number(process.env.PROPERTY_RUNS ?? 300);

/** The line of an error that a call throws. */
function refusal(fn, ...args) {
  const error = thrownBy(fn, ...args);
  assert.ok(error instanceof globalThis[Symbol.for('zaxbase.ZaxBindingError')], error);
  return `${error.code}: ${error.message}`;
}

const is = (type) => (value) => typeof value === type;
const within = (low, high) => (value) => Number.isInteger(value) && value >= low && value <= high;
const isInt = within(-(2 ** 31), 2 ** 31 - 1);
const isMaybe = (accepts) => (value) => value === undefined || value === null || accepts(value);
const fits = (cut) => (value) => typeof value === 'bigint' && cut(64, value) === value;
const isLong = (value) => Number.isSafeInteger(is('bigint')(value) ? Number(value) : value);
const isArrayOf = (accepts) => (value) => Array.isArray(value) && Array.from(value).every(accepts);

const wellFormed = (value) => value.replace(/\p{Surrogate}/gu, '\ufffd');
const plus0 = (value) => Number(value) + 0;
const maybe = (value) => (isMaybe(() => false)(value) ? undefined : plus0(value));

const int = 'integer from -2147483648 to 2147483647';
const longs = 'to 9007199254740991 or a bigint of 64 bits';

/** Which values a type accepts, what it says that it expects, and what becomes of a value. */
const models = {
  bool: [is('boolean'), 'boolean'],
  int: [isInt, int, plus0],
  unsigned: [within(0, 2 ** 32 - 1), 'integer from 0 to 4294967295', plus0],
  long: [isLong, `integer from -9007199254740991 ${longs}`, plus0],
  ulong: [(value) => isLong(value) && value >= 0, `integer from 0 ${longs}`, plus0],
  bigInt: [fits(BigInt.asIntN), 'bigint from -9223372036854775808n to 9223372036854775807n'],
  bigUint: [fits(BigInt.asUintN), 'bigint from 0n to 18446744073709551615n'],
  double: [is('number'), 'number'],
  float: [is('number'), 'number', Math.fround],
  string: [is('string'), 'string', wellFormed],
  view: [is('string'), 'string', wellFormed],
  date: [() => false, 'Date'],
  color: [(value) => value === 'red' || value === 'green', '"red" | "green"'],
  optional: [isMaybe(isInt), int, maybe],
  doubles: [isArrayOf(is('number')), 'array', Array.from],
  bools: [isArrayOf(is('boolean')), 'array', Array.from],
};

/** What `zax::Handle` says that a value is. */
const kindsOf = (value) => [
  ...[value === undefined, value === null, is('boolean')(value), is('number')(value)],
  ...[is('bigint')(value), is('string')(value), is('function')(value), Array.isArray(value)],
  ...[value instanceof Map, Object(value) === value],
];

function check(value) {
  assert.deepEqual(plain.kinds(value), kindsOf(value));
  for (const [type, [accepts, wanted, become = (accepted) => accepted]] of Object.entries(models)) {
    if (accepts(value)) {
      assert.deepStrictEqual(same[type](value), become(value), type);
      continue;
    }
    const actual = refusal(same[type], value);
    const expected = `EBADARG: ${type}: argument 1 (value): ${wanted} expected, got `;
    const isInside = wanted === 'array' && Array.isArray(value);
    assert.ok(isInside || /^EOVERFLOW: u?long/.test(actual) || actual.startsWith(expected), actual);
  }
}

const names = JSON.parse('{"__proto__": 1, "10": 2, "9": 3, "": 4}');
const text = fc.string({ unit: fc.constantFrom('a', 'é', '世', '🎉', '\0', '\ud800', '"', '%') });
const number = fc.oneof(fc.double(), fc.integer(), fc.maxSafeInteger(), fc.constant(-0));
const option = (arbitrary) => fc.option(arbitrary, { nil: undefined });
const point = { x: number, y: option(fc.maxSafeInteger()), on: fc.boolean() };
const points = fc.record(point, { noNullPrototype: true });

test('any value becomes what its type says, or is refused', () => {
  [
    ...[-0, NaN, Infinity, 5e-324, 2 ** 31, 2 ** 32, 1e300, -(2 ** 31)],
    ...[2 ** 31 - 1, 2 ** 32 - 1, 2 ** 53 - 1, 1 - 2 ** 53, 2 ** 53, -1n, 2n ** 53n - 1n],
    ...[2n ** 63n - 1n, 2n ** 63n, -(2n ** 63n), 2n ** 64n - 1n, 2n ** 64n, Symbol('s'), test],
    ...['', 'a\0b', 'red', 'red\0', '\ufeff', '\ud800x\udfff', '世'.repeat(40), 'x'.repeat(1e6)],
    ...[Object.create(null), new Map(), { x: 1, on: true, z: 1 }],
    ...[[], [1, null], Array(2), [true, 1]],
  ].forEach(check);
  const anything = fc.anything({ withBigInt: true, withSparseArray: true });
  const arrays = [number, fc.integer(), fc.boolean()].map((element) =>
    fc.array(fc.oneof({ weight: 30, arbitrary: element }, anything), { maxLength: 40 }),
  );
  const any = fc.oneof(anything, text, number, points, ...arrays);
  fc.assert(fc.property(any, check), { numRuns: 3 * numRuns });
});

test('any nested value survives', () => {
  const either = fc.oneof(fc.boolean(), text.map(wellFormed), fc.array(number, { maxLength: 40 }));
  const color = fc.constantFrom('red', 'green');
  const tuple = fc.tuple(option(points), either, color);
  const rows = fc.array(tuple, { maxLength: 40 });
  const composed = fc.dictionary(text.map(wellFormed), rows, { noNullPrototype: true });
  const date = fc.date({ min: new Date(-9.2e12), max: new Date(9.2e12), noInvalidDate: true });
  for (const [type, values] of Object.entries({ composed, date })) {
    const survives = (value) => assert.deepStrictEqual(same[type](value), value);
    fc.assert(fc.property(values, survives), { numRuns });
  }
});

const u8 = (...bytes) => Uint8Array.from(bytes);
const detached = u8(1, 2);
structuredClone(detached.buffer, { transfer: [detached.buffer] });
const resizable = new ArrayBuffer(2, { maxByteLength: 9 });
const shared = new SharedArrayBuffer(2, { maxByteLength: 9 });
const proxy = (target) => new Proxy(target, {});
const range = (length, make) => Array.from({ length }, (_, i) => make(i));

test('objects of JavaScript', () => {
  for (const [type, given, expected = given] of [
    ['set', [3, 1, 3], [1, 3]],
    ['optionals', Array(2).fill(null, 1), [undefined, undefined]],
    ['views', range(20, String)],
    ['path', '/tmp/é'],
    ['map', Object.create({ inherited: 'x' }, { hidden: { value: 'x' } }), {}],
    ['map', proxy(names), names],
    ['numbers', new Map([[0.5, '']])],
    ['bytes', u8(0, 1, 2).subarray(1), Buffer.of(1, 2)],
    ['bytes', new Float64Array(1).buffer, Buffer.alloc(8)],
    ['copy', shared, Buffer.alloc(2)],
    ['copy', resizable, Buffer.alloc(2)],
    ['copy', Buffer.alloc(5000, 1)],
    ['float64', new Float64Array([1.5, -0])],
    ['date', new Date(-9223372036854)],
    ['nanoseconds', 0.000001],
    ['duration', NaN],
    ['handles', range(300, (i) => ({ i }))],
  ]) {
    assert.deepStrictEqual(same[type](given), expected, type);
  }
  const bytes = u8(1, 2, 3);
  same.bytes(bytes.subarray(1))[0] = 0;
  assert.deepEqual(bytes, u8(1, 0, 3));
  for (const size of [0, 1, 1e6]) assert.equal(plain.owned('x'.repeat(size)).length, size);
});

test('where a refused value is', () => {
  const [end, late] = ['é'.repeat(59), ': time within the range of its type expected, got'];
  for (const [type, value, message] of [
    ['int', '世'.repeat(40), `: ${int} expected, got "${'世'.repeat(40)}"`],
    ['int', 'a\0', `: ${int} expected, got a string of 2 characters`],
    ['int', '\ud800', `: ${int} expected, got "\ufffd"`],
    ['either', 2.5, ': boolean | string | number[] expected, got 2.5'],
    ['doubles', proxy([1]), ': array expected, got an object'],
    ['pair', [1, 2], '[1]: string expected, got 2'],
    ['map', { 'a "b"\0': 'x' }, `["a \\"b\\" "]: ${int} expected, got "x"`],
    ['map', { [end.repeat(9)]: 1.5 }, `["${end}…${end}"]: ${int} expected, got 1.5`],
    ['composed', { a: [[{ x: '' }, '', 'red']] }, '.a[0][0].x: number expected, got ""'],
    ['set', [1, NaN], '[1]: NaN has no place in what is sorted'],
    ['numbers', new Map([[NaN, '']]), '[0]: NaN has no place in what is sorted'],
    ['bytes', detached, ': the buffer is detached'],
    ['bytes', resizable, ': the buffer is resizable, its size can change meanwhile'],
    ['bytes', new Uint8Array(shared), ': the buffer is resizable, its size can change meanwhile'],
    ['float64', u8(1), ': Float64Array expected, got an instance of Uint8Array'],
    ['date', new Date(NaN), ': valid Date expected, got an invalid one'],
    ['date', new Date(9.3e12), `${late} an instance of Date`],
    ['seconds', 2 ** 63 * 1000, `${late} 9.223372036854776e+21`],
    ['seconds', 1500, ': milliseconds that are whole units of 1/1 seconds expected, got 1500'],
  ]) {
    assert.equal(refusal(same[type], value), `EBADARG: ${type}: argument 1 (value)${message}`);
  }
});

test('results that JavaScript does not hold', () => {
  const far = Array(20).fill({ x: 1, y: 2n ** 62n, on: true });
  const overflow = /^EOVERFLOW: points: result\[0\].y: 4611686018427387904 is beyond what a number/;
  for (const array of [far, far.slice(1, 2)]) assert.match(refusal(same.points, array), overflow);
  const long = /^ERANGE: make-text: result\[1\]: a text of 600000000 bytes is too long/;
  for (const code of [0x78, 0xff]) assert.match(refusal(plain['make-text'], code, 6e8), long);
  assert.match(refusal(plain.bits, 2 ** 27), /^ERANGE: bits: result: 134217728 elements are/);
  assert.match(refusal(plain.zeros, constants.MAX_LENGTH + 1), /^ERANGE: zeros|^EUNKNOWN: .*alloc/);
  assert.deepEqual(plain['make-text'](0xff, 2), ['', '\ufffd\ufffd']);
});

const numbers = (length) => range(length, Number);
const rows = (length) => range(length, (i) => ({ x: i, y: i % 3 ? i : undefined, on: i % 2 > 0 }));
const getter = (object, key, get) =>
  Object.defineProperty(object, key, { get, configurable: true, enumerable: true });
const messageOf = (fn, value) => thrownBy(fn, value).message.replace('argument 1 (value)', '');

test('one element is another', () => {
  for (const length of [1, 15, 16, 17, 64, 65, 2730, 2731, 8191, 8192, 8193, 20000]) {
    const middle = length >> 1;
    assert.deepEqual(same.points(rows(length)), rows(length));
    const array = getter(numbers(length), middle, () => 0.25);
    assert.deepEqual(same.doubles(array), [...array]);
    getter(array, middle, () => BigInt(middle));
    assert.deepEqual(same.longs(array), numbers(length));
    delete array[middle];
    const at = `[${middle}]`;
    assert.equal(messageOf(same.doubles, array), `doubles: ${at}: number expected, got undefined`);
    const bad = rows(length);
    bad[middle].x = '1';
    assert.equal(messageOf(same.points, bad), `points: ${at}.x: number expected, got "1"`);
    bad[middle] = [];
    assert.equal(messageOf(same.points, bad), `points: ${at}: object expected, got an array`);
  }
});

test('script that runs while an array is read', () => {
  const mine = new RangeError('mine');
  const fail = () => assert.fail(mine);
  const row = getter({ x: 1, on: true }, 'y', fail);
  for (const [fn, value] of [
    [same.doubles, getter(numbers(20), 9, fail)],
    [same.points, rows(20).fill(row, 9)],
    [same.map, getter({}, 'a', fail)],
    [same.map, new Proxy({}, { ownKeys: fail })],
  ]) {
    assert.equal(thrownBy(fn, value), mine);
  }
  const shrinking = getter(numbers(40), 20, () => (shrinking.length = 30));
  assert.equal(messageOf(same.doubles, shrinking), 'doubles: [30]: number expected, got undefined');
  const growing = getter(numbers(40), 20, () => growing.push(1, 2, 3));
  assert.equal(same.doubles(growing).length, 40);
  const texts = getter(Array(20).fill(''), 3, () => ((texts.length = 9), ''));
  assert.equal(messageOf(same.views, texts), 'views: [9]: string expected, got undefined');
  const { proxy, revoke } = Proxy.revocable({}, {});
  revoke();
  assert.throws(() => same.points(rows(20).fill(proxy, 7)), TypeError);
});

test('getters that convert arrays of the same type', () => {
  const within = (depth, make, fn) =>
    getter(make(40), 20, () => {
      if (depth > 0) assert.deepEqual(fn(within(depth - 1, make, fn)), make(40));
      return make(40)[20];
    });
  for (const [type, make] of Object.entries({ doubles: numbers, points: rows })) {
    assert.deepEqual(same[type](within(7, make, same[type])), make(40));
    const bad = within(7, (length) => make(length).fill({}, 30), same[type]);
    for (let i = 0; i < 9; ++i) assert.match(messageOf(same[type], bad), /\[30\]/);
  }
});

test('objects within each other without end', () => {
  const cycle = { nodes: [] };
  cycle.nodes.push(cycle);
  const deepest = /^\w+: (result)?(\.nodes\[0\])+.*….*\[0\]: objects .* to a depth of 1000/;
  for (let i = 0; i < 3; ++i) {
    assert.match(messageOf(same.node, cycle), deepest);
    assert.match(messageOf(plain.nested, 1000), deepest);
    assert.equal(JSON.stringify(same.node(plain.nested(999))).length, 12 * 1000);
  }
});

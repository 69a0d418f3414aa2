'use strict';

// Any values whatever: a call throws a ZaxBindingError or makes the replies that it must, and each
// conversion agrees with JavaScript's own.

const assert = require('node:assert/strict');
const { test } = require('node:test');
const fc = require('fast-check');

const echo = require('echo');
const { ZaxBindingError } = require('zaxbase/runtime');
const { bad, bridge, laterRepliesOf, repliesOf, shown, thrownBy } = require('../support');

const numRuns = Number(process.env.PROPERTY_RUNS ?? 300);

const text = fc.string({
  unit: fc.constantFrom('a', 'é', '世', '🎉', '\0', '\ud800', '\udfff', '%'),
});
const number = fc.oneof(fc.double(), fc.integer(), fc.maxSafeInteger(), fc.constant(-0));
const anything = fc.oneof(
  fc.anything({ withBigInt: true, withNullPrototype: true, withSparseArray: true }),
  fc.constantFrom(undefined, null, Symbol('s'), () => 1, new Proxy({}, {}), new String('boxed')),
  text,
  number,
);

const cut = (value) => value.split('\0')[0];
/** A text as it comes back: cut at its first U+0000, a lone surrogate as three replacements. */
const echoed = (value) => cut(value).replace(/\p{Surrogate}/gu, '\ufffd'.repeat(3));

test('the functions of the module with any text', async () => {
  const functions = Object.entries({
    syncEcho: [''],
    asyncEcho: [''],
    asyncEchoWithNotifications: ['-0%', '-25%', '-50%', '-75%', '-100%', ''],
  });
  const times = fc.constantFrom(0, 1, 1.9, -0.5, 2 ** 32, -(2 ** 32), NaN, Infinity, undefined);
  const property = fc.asyncProperty(times, text, fc.array(anything), async (wait, str, rest) => {
    assert.equal(echo.echoNan(str, ...rest), echoed(str));
    for (const [name, suffixes] of functions) {
      const replies = await laterRepliesOf(suffixes.length, echo[name], wait, str);
      const expected = suffixes.map((suffix) => [0, echoed(str) + suffix]);
      assert.deepEqual(replies, expected);
      assert.throws(() => echo[name](wait, str, assert.fail, ...rest, 0), { code: 'EBADARG' });
    }
  });
  await fc.assert(property, { numRuns, endOnFailure: true, examples: [[0, 'x'.repeat(1e5), []]] });
});

const is = (type) => (value) => typeof value === type;
const isObject = (value) => Object(value) === value;
const isIndex = (key) => String(key >>> 0) === key && key >>> 0 < 2 ** 32 - 1;
const isUnsigned = (value) => typeof value === 'number' && Object.is(value >>> 0, value);
const unspecified = Symbol('unspecified');
const truncated = (value) =>
  Number.isSafeInteger(Math.trunc(value)) ? Math.trunc(value) + 0 : unspecified;

/** Ordered by code points, which is the order of the bytes. */
const codes = (value) =>
  Array.from(value, (point) => point.codePointAt(0).toString(16).padStart(6, '0')).join();
const byBytes = (a, b) => (codes(a) < codes(b) ? -1 : 1);
const sortedSet = (items) => [...new Set(items)].sort(byBytes).map(echoed);
const sortedMap = (entries) =>
  [...new Map(entries)].sort(([a], [b]) => byBytes(a, b)).map((entry) => entry.map(echoed));
const numbered = (entries) => [...new Map(entries)].sort(([a], [b]) => a - b);

/** What holds a value after the conversion, and the message of the error, if there is one. */
const single = (accepts, message, convert, reset, refused) => (value) => {
  if (value === undefined) return [reset];
  return accepts(value) ? [convert(value)] : [refused ?? reset, message];
};

/** The same for a collection; what was read before the refused item stays. */
const collection = (accepts, message, itemsOf, refusalOf, convert, finish) => (value) => {
  if (value === undefined) return [[]];
  if (!accepts(value)) return [[], message];
  const read = [];
  for (const item of itemsOf(value)) {
    const refused = refusalOf(item);
    if (refused) return [finish(read), refused];
    read.push(convert(item));
  }
  return [finish(read)];
};

const all = (items) => items;
const array = (type, message, convert, finish = all) => {
  const refusalOf = (item) => (typeof item === type ? '' : message);
  return collection(Array.isArray, 'Array expected', Array.from, refusalOf, convert, finish);
};

const object = (keyIsIndex, message, keyOf, valueOf, finish = all) => {
  const refusalOf = ([key, value]) => {
    if (isIndex(key) !== keyIsIndex) return message;
    return typeof value === 'string' ? '' : `Value of ${keyOf(key)} expected to be String`;
  };
  const convert = ([key, value]) => [keyOf(key), valueOf(value)];
  return collection(isObject, 'Object expected', Object.entries, refusalOf, convert, finish);
};
const named = (...rest) => object(false, 'Key expected to be String', ...rest);
const int = (value) => value | 0;

// The model of each conversion by JavaScript's own rules, its function, and what the output held
// before.
const models = {
  string: [single(is('string'), 'String expected', echoed, ''), 'parseString', 'old'],
  int: [single(is('number'), 'Number expected', int, 0), 'parseInt', 7],
  unsigned: [single(isUnsigned, 'Unsigned 32-bit number expected', Number, 0), 'parseInt', 7],
  long: [single(is('number'), 'Number expected', truncated, 0), 'parseInt', 7],
  bool: [single(is('boolean'), 'Boolean expected', Boolean, false), 'parseBoolean', true],
  boolean_t: [single(is('boolean'), 'Boolean expected', Number, 0, 1), 'parseBoolean', true],
  list: [array('string', 'String expected', echoed), 'parseStringList', ['old']],
  set: [array('string', 'String expected', cut, sortedSet), 'parseStringSet', ['old']],
  ints: [array('number', 'Number expected', int), 'parseIntVector', [7]],
  unsigneds: [array('number', 'Number expected', (value) => value >>> 0), 'parseIntVector', [7]],
  pairs: [named(echoed, echoed), 'parseStringPairs', { o: 'old' }],
  map: [named(cut, cut, sortedMap), 'parseStringStringMap', { o: 'old' }],
  intMap: [
    object(true, 'Number expected', int, echoed, numbered),
    'parseIntStringMap',
    { 1: 'old' },
  ],
};

const collections = fc.oneof(
  ...[fc.array(text), fc.array(number), fc.array(fc.oneof(text, number, anything))],
  ...[fc.dictionary(text, text), fc.dictionary(fc.nat().map(String), text)],
  fc.dictionary(fc.oneof(text, fc.nat(9).map(String)), fc.oneof(text, anything)),
);

// What must be tried every time.
const examples = [
  ...[undefined, true, -0, 2 ** 32, 'cut\0', '\ud800x', Object(5), Object(true), [-1, null], ['a']],
  ...[['b', 'é', 'a', 'b', 'B', undefined], { b: '2', a: '1', c: 3 }, { 'k\0x': '1', k: '2' }],
  ...[{ 4294967294: 'last index', 3: 'c' }, { 4294967295: 'no index' }, { x: 'b', 7: 5 }],
  ...[Object.create({ inherited: 1 }, { hidden: { value: 2 } }), { [Symbol('s')]: 3 }],
  new Proxy({ p: 'q' }, {}),
].map((value) => [value]);

for (const [type, [model, fn, before]] of Object.entries(models)) {
  test(`the conversion ${type} of any value`, () => {
    const property = fc.property(fc.oneof(anything, collections), (value) => {
      const [left, message] = model(value);
      if (left === unspecified) return;
      const [[held, error]] = repliesOf(bridge.into[type], value, before);
      const expected = message && echoed(bad(message, fn));
      assert.deepStrictEqual([held, shown(error)], [left, expected]);
      if (!message) return;
      // Where the value is an argument of its own, the call throws.
      const thrown = thrownBy(bridge.into[type], undefined, value, assert.fail);
      assert.ok(thrown instanceof ZaxBindingError && echoed(shown(thrown)) === expected);
    });
    fc.assert(property, { numRuns: 5 * numRuns, examples });
  });
}

'use strict';

// Any arguments whatever: a call throws a ZaxBindingError or makes the replies that it must, and each
// conversion agrees with JavaScript's own.

const assert = require('node:assert/strict');
const { test } = require('node:test');
const fc = require('fast-check');

const echo = require('echo');
const { bad, bridge, laterRepliesOf, repliesOf, shown } = require('../support');

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

/** The error of a call with (wait, str) and a callback. */
function refusal(args) {
  if (args.length !== 2) return `Bad argument number: expected 3, but got ${args.length + 1}`;
  const [wait, str] = args;
  if (wait !== undefined && typeof wait !== 'number') return 'Number expected';
  return str === undefined || typeof str === 'string' ? undefined : 'String expected';
}

const functions = {
  syncEcho: [''],
  asyncEcho: [''],
  asyncEchoWithNotifications: ['-0%', '-25%', '-50%', '-75%', '-100%', ''],
};
const times = [0, 1, 1.9, -0.5, 2 ** 32, -(2 ** 32), NaN, Infinity, undefined];
const noNumber = anything.filter((value) => typeof value !== 'number');
const wait = fc.oneof({ weight: 3, arbitrary: fc.constantFrom(...times) }, noNumber);
const call = fc.oneof(fc.tuple(wait, fc.oneof(text, anything)), fc.array(wait, { maxLength: 4 }));

for (const [name, suffixes] of Object.entries(functions)) {
  test(`${name} with any arguments`, async () => {
    const property = fc.asyncProperty(call, async (args) => {
      const message = refusal(args);
      const replies = laterRepliesOf(suffixes.length, echo[name], ...args);
      if (message) return assert.rejects(replies, { name: 'ZaxBindingError', message });
      const expected = suffixes.map((suffix) => [0, echoed(args[1] ?? '') + suffix]);
      assert.deepEqual(await replies, expected);
    });
    await fc.assert(property, { numRuns, examples: [[[0, 'x'.repeat(1e5)]]] });
  });
}

test('echoNan with any text, and anything after it', () => {
  const property = fc.property(text, fc.array(anything), (str, rest) => {
    assert.equal(echo.echoNan(str, ...rest), echoed(str));
  });
  fc.assert(property, { numRuns });
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
    });
    fc.assert(property, { numRuns: 5 * numRuns, examples });
  });
}

'use strict';

// Any arguments whatever: a call throws a ZaxBindingError or makes the replies that it must, and each
// conversion agrees with JavaScript's own.

const assert = require('node:assert/strict');
const { test } = require('node:test');
const fc = require('fast-check');

const echo = require('echo');
const { ZaxBindingError } = require('zaxbase/runtime');
const { bridge, repliesOf } = require('../bridge/support');

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

/** A text as it comes back: cut at its first U+0000, a lone surrogate as three replacements. */
const echoed = (value) => value.split('\0')[0].replace(/\p{Surrogate}/gu, '\ufffd'.repeat(3));

/** Which argument the error of a call with (wait, str, callback) is about. */
function refusal(args) {
  if (args.length !== 3) return `Bad argument number: expected 3, but got ${args.length}`;
  const [wait, str, callback] = args;
  if (wait !== undefined && typeof wait !== 'number') return 'Number expected';
  if (str !== undefined && typeof str !== 'string') return 'String expected';
  if (callback === undefined) return 'Function undefined';
  return typeof callback === 'function' ? undefined : 'Function expected';
}

const isReply = (suffixes, str) => (replies) => {
  assert.deepEqual(
    replies,
    suffixes.map((suffix) => [0, echoed(str ?? '') + suffix]),
  );
};

const functions = {
  syncEcho: [''],
  asyncEcho: [''],
  asyncEchoWithNotifications: ['-0%', '-25%', '-50%', '-75%', '-100%', ''],
};

for (const [name, suffixes] of Object.entries(functions)) {
  test(`${name} with any arguments`, async () => {
    const wait = fc.oneof(
      fc.constantFrom(0, 1, 1.9, -0.5, 2 ** 32, -(2 ** 32), NaN, Infinity, undefined),
      anything.filter((value) => typeof value !== 'number'),
    );
    const call = fc.tuple(wait, fc.oneof(text, anything), fc.oneof(fc.constant('cb'), anything));
    const args = fc.oneof({ weight: 4, arbitrary: call }, fc.array(wait, { maxLength: 5 }));
    await fc.assert(
      fc.asyncProperty(args, async (values) => {
        const replies = [];
        let settle;
        const settled = new Promise((resolve) => {
          settle = resolve;
        });
        const callback = (...reply) => replies.push(reply) === suffixes.length && settle();
        const actual = values.map((value) => (value === 'cb' ? callback : value));
        const expected = refusal(actual);
        if (expected === undefined && actual[2] !== callback) return; // Nobody would see the replies.
        try {
          assert.equal(echo[name](...actual), undefined);
        } catch (error) {
          assert.ok(error instanceof ZaxBindingError, String(error));
          assert.deepEqual([error.code, error.message], ['EBADARG', expected]);
          assert.deepEqual(replies, []);
          return;
        }
        assert.equal(expected, undefined);
        await settled;
        isReply(suffixes, actual[1])(replies);
      }),
      { numRuns },
    );
  });
}

test('echoNan with any text, and anything after it', () => {
  const property = fc.property(text, fc.array(anything), (str, rest) => {
    assert.equal(echo.echoNan(str, ...rest), echoed(str));
  });
  fc.assert(property, { numRuns });
});

const refused = Symbol('refused');
const unspecified = Symbol('unspecified');
const isIndex = (key) => String(key >>> 0) === key && key >>> 0 < 2 ** 32 - 1;
const ifType = (type, convert) => (value) => (typeof value === type ? convert(value) : refused);

/** All elements converted, or refused. */
const each = (convert) => (value) => {
  if (!Array.isArray(value)) return refused;
  const converted = Array.from(value, convert);
  return converted.includes(refused) ? refused : converted;
};

const isObject = (value) =>
  (typeof value === 'object' && value !== null) || typeof value === 'function';

/** The own properties of an object whose names and values are all texts. */
function pairs(value) {
  if (!isObject(value)) return refused;
  const entries = Object.entries(value);
  if (entries.some(([key, item]) => isIndex(key) || typeof item !== 'string')) return refused;
  return entries.map((entry) => entry.map(echoed));
}

/** What each conversion must give by JavaScript's own rules. */
const models = {
  string: ifType('string', echoed),
  int: ifType('number', (value) => value | 0),
  unsigned: ifType('number', (value) => (Object.is(value >>> 0, value) ? value : refused)),
  long: ifType('number', (value) =>
    Number.isSafeInteger(Math.trunc(value)) ? Math.trunc(value) + 0 : unspecified,
  ),
  bool: ifType('boolean', (value) => value),
  boolean_t: ifType('boolean', Number),
  list: each(ifType('string', echoed)),
  set: (value) => {
    const list = each(ifType('string', (item) => item.split('\0')[0]))(value);
    if (list === refused) return refused;
    if (list.some((item) => /\p{Surrogate}/u.test(item))) return unspecified; // Bytes sort otherwise.
    const bytes = [...new Set(list)].map((item) => Buffer.from(item));
    return bytes.sort(Buffer.compare).map(String);
  },
  ints: each(ifType('number', (value) => value | 0)),
  unsigneds: each(ifType('number', (value) => value >>> 0)),
  pairs,
};

const collections = fc.oneof(
  fc.array(text),
  fc.array(number),
  fc.array(anything, { maxLength: 3 }),
  fc.dictionary(text, text),
  fc.dictionary(fc.nat().map(String), text),
);

for (const [type, model] of Object.entries(models)) {
  test(`the conversion ${type} of any value`, () => {
    const property = fc.property(fc.oneof(anything, collections), (value) => {
      const expected = model(value);
      if (value === undefined || expected === unspecified) return;
      try {
        const [[, converted]] = repliesOf(bridge.parse[type], value);
        assert.deepStrictEqual(converted, expected);
      } catch (error) {
        if (error instanceof assert.AssertionError) throw error;
        assert.ok(error instanceof ZaxBindingError, String(error));
        assert.equal(error.code, 'EBADARG');
        assert.equal(expected, refused);
      }
    });
    fc.assert(property, { numRuns: 5 * numRuns });
  });
}

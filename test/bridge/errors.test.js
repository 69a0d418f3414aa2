'use strict';

const assert = require('node:assert');
const { test } = require('node:test');
const { bridge, inChild, repliesOf, thrownBy } = require('./support');

/** What native code passes to the script-side functions when a call throws. */
function scriptCallsOf(fn, ...args) {
  const { __, createZaxBindingError } = globalThis;
  const calls = [];
  const answer =
    (text) =>
    (...passed) => {
      calls.push(passed);
      return text;
    };
  globalThis.__ = answer('the message');
  globalThis.createZaxBindingError = answer('the error');
  try {
    assert.strictEqual(thrownBy(fn, ...args), 'the error');
  } finally {
    Object.assign(globalThis, { __, createZaxBindingError });
  }
  return calls;
}

const frames = [
  { function: ' -> outer', file: 'lib.so', offset: '0x0', address: '0xff' },
  { function: 'main', file: '???', offset: '0x1f', address: '0x7fffffffffffffff' },
];
const place = { file: 'native.cpp', line: 12, function: 'work', callstack: frames };
const record = { exceptionClass: 'by hand', ...place };
const nothing = { exceptionClass: '', file: '', line: -1, function: '', callstack: [] };

test('what native code passes to the script side', () => {
  const { throwRecord, throwNothing, raise } = bridge;
  const system = { syscode: 0, sysdesc: 'desc', sysmsg: 'msg' };
  const message = ['at %(where)s', { where: 'hand' }];
  const table = [
    [throwRecord, [-1, '', ''], message, 'RECORD', record],
    [throwRecord, [0, 'desc', 'msg'], message, 'RECORD', { ...record, ...system }],
    [throwRecord, [-1, '', 'msg'], message, 'RECORD', { ...record, sysmsg: 'msg' }],
    [throwNothing, [], ['', {}], '', nothing],
  ];
  for (const [fn, args, expectedMessage, code, details] of table) {
    const calls = scriptCallsOf(fn, ...args);
    assert.deepStrictEqual(calls, [expectedMessage, [code, 'the message', details]]);
    // As texts the order shows, too.
    assert.strictEqual(JSON.stringify(calls[1][2]), JSON.stringify(details));
  }
  // A message without a format, a value that is null, a key given twice.
  const [odd, [code]] = scriptCallsOf(raise, 'odd');
  assert.deepStrictEqual([...odd, code], ['', { null: '', same: '2' }, '']);
});

test('a record sent as a reply', () => {
  const [[{ code, message, details }, ...rest]] = repliesOf(bridge.sendRecord, 2, 'desc', '');
  assert.deepStrictEqual([code, message, ...rest], ['RECORD', 'at hand']);
  assert.deepStrictEqual(details, { ...record, syscode: 2, sysdesc: 'desc' });
});

test('a message that does not fit', () => {
  const { stdout, stderr } = inChild((native) => {
    globalThis.__ = (...args) => args.join('|');
    native.job('', ['long'], [], 'MINE', ({ code, message }) => console.log(code, message));
  });
  assert.strictEqual(stdout, 'MINE Error message buffer overflow\n');
  assert.strictEqual(stderr, `Error message exceeds buffer size: ${'x'.repeat(5000)}\n`);
});

test('script-side functions that are missing or fail', () => {
  const run = async (native, fate) => {
    require('node:vm').runInThisContext(fate);
    process.on('uncaughtException', (error) => console.log(`uncaught ${error}`));
    try {
      console.log(`returned ${native.raise('zax')}`);
    } catch (error) {
      console.log(`threw ${error}`);
    }
    for (const stages of [
      [['zax'], []],
      [[], ['zax']],
      [[], ['replyError']],
    ]) {
      native.job('', ...stages, '', (...reply) => console.log(`replied ${reply}`));
      for (let left = 1; left > 0; await new Promise(setImmediate)) {
        native.live((_, [jobs]) => {
          left = jobs;
        });
      }
    }
  };
  const create = 'globalThis.createZaxBindingError';
  const absent = (name) => `JS object ${name} is not a function\n`;
  const fail = '() => { throw new Error("script"); }';
  // What is done to the function, what a call does, what a job does, lines on standard error.
  const table = [
    [`delete ${create}`, 'returned undefined', '', absent('createZaxBindingError')],
    [`${create} = null`, 'returned undefined', '', 'JS object createZaxBindingError not found\n'],
    [`${create} = () => null`, 'returned undefined', ''],
    [`${create} = () => undefined`, 'threw undefined', 'replied '],
    [`${create} = () => "text"`, 'threw text', 'replied text'],
    [`${create} = ${fail}`, 'threw Error: script', 'uncaught Error: script\nreplied '],
    ['delete globalThis.__', 'threw ZaxBindingError', 'replied ZaxBindingError', absent('__')],
    [`__ = ${fail}`, 'threw Error: script', 'uncaught Error: script\nreplied ZaxBindingError'],
  ];
  for (const [fate, call, job, trace = ''] of table) {
    const { stdout, stderr, status } = inChild(run, fate);
    const replies = (job && `${job}\n`).repeat(3);
    const expected = [`${call}\n${replies}`, trace.repeat(4), 0];
    assert.deepStrictEqual([stdout, stderr, status], expected, fate);
  }
});

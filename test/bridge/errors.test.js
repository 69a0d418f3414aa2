'use strict';

const assert = require('node:assert');
const { test } = require('node:test');
const { bridge, repliesOf, thrownBy } = require('../support');

const callstack = [
  { function: ' -> outer', file: 'lib.so', offset: '0x0', address: '0xff' },
  { function: 'main', file: '???', offset: '0x1f', address: '0x7fffffffffffffff' },
];
const place = { file: 'native.cpp', line: 12, function: 'work', callstack };
const record = { exceptionClass: 'by hand', ...place };
const nothing = { exceptionClass: '', file: '', line: -1, function: '', callstack: [] };

test('an error has the code, the message and the details of its record', () => {
  const thrown = (...args) => thrownBy(bridge.throwRecord, ...args);
  const [[sent, ...more]] = repliesOf(bridge.sendRecord);
  assert.deepStrictEqual(more, []);
  const all = { syscode: 0, sysdesc: 'desc', sysmsg: 'msg' };
  const table = [
    [thrown(-1, '', ''), record],
    [thrown(0, 'desc', 'msg'), { ...record, ...all }],
    [thrown(-1, '', 'msg'), { ...record, sysmsg: 'msg' }],
    [sent, { ...record, syscode: 2, sysdesc: 'desc' }],
    [thrownBy(bridge.throwNothing), nothing, '', ''],
  ];
  for (const [error, details, code = 'RECORD', message = 'at hand'] of table) {
    assert.deepStrictEqual([error.code, error.message], [code, message]);
    // As texts the order shows, too.
    assert.strictEqual(JSON.stringify(error.details), JSON.stringify(details));
  }
  assert.strictEqual(thrownBy(bridge.raise, 'odd').message, '[2<unknown>]');
});

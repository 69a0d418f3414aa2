'use strict';

const assert = require('node:assert');
const { test } = require('node:test');
const { bridge, repliesOf, shown, thrownBy } = require('../support');

const raised = {
  zax: 'RAISED: raised on purpose (zax::Exception in raise, bridge/bridge/errors.cpp)',
  std: 'EUNKNOWN: disk full (std::runtime_error in assign, libzaxbase/zax-error-info.cpp)',
};
const set = 'SET: set by job (AsyncJob::setError() in run, bridge/bridge/jobs.cpp)';
const sent = 'SENT: sent (ZAXError::ZAXError() in run, bridge/bridge/jobs.cpp)';
const done = [0, 'done'];

const notify = (count) => new Array(count).fill('notify');
const numbers = (count) => Array.from({ length: count }, (_, i) => [0, i + 1]);

/** Runs a job to its end and tells all calls of its callback. */
async function repliesOfJob({ refusal = '', begin = [], after = ['reply'], unknownCode = '' }) {
  const replies = [];
  bridge.job(refusal, begin, after, unknownCode, (...reply) => {
    replies.push(reply.length === 1 ? shown(reply[0]) : reply);
  });
  for (const end = Date.now() + 10_000; repliesOf(bridge.live)[0][1] > 0;) {
    assert.ok(Date.now() < end, 'the job never ends');
    await new Promise(setImmediate);
  }
  return replies;
}

test('failures before the job are thrown', () => {
  for (const [how, expected] of Object.entries(raised)) {
    assert.strictEqual(shown(thrownBy(bridge.raise, how)), expected);
    assert.strictEqual(shown(thrownBy(bridge.job, how, [], [], '', assert.fail)), expected);
  }
  assert.deepStrictEqual(repliesOf(bridge.live), [[0, 0]]);
});

test('mistakes that must not end the process', async () => {
  const { code, message } = thrownBy(bridge.job, 'none', [], [], '', assert.fail);
  assert.deepStrictEqual([code, message], ['EFAILED', 'create made no job']);
  assert.deepStrictEqual(await repliesOfJob({ refusal: 'mute' }), []);
  assert.deepStrictEqual(await repliesOfJob({ refusal: 'mute', begin: ['zax'] }), []);
  assert.deepStrictEqual(repliesOf(bridge.callEmpty), [[0, 1]]);
});

test('what the job does and what the script sees', async () => {
  const mine = raised.std.replace('EUNKNOWN', 'MINE');
  const table = [
    [{}, [done]],
    [{ after: ['default'] }, [[]]],
    [{ after: [] }, []],
    [{ begin: ['zax'] }, [raised.zax]],
    [{ begin: ['std'] }, [raised.std]],
    [{ begin: ['std'], unknownCode: 'MINE' }, [mine]],
    [{ begin: ['zax'], unknownCode: 'MINE' }, [raised.zax]],
    [{ begin: ['setError'] }, [set]],
    [{ begin: ['setError', 'zax'] }, [raised.zax]],
    [{ after: ['zax'] }, [raised.zax]],
    [{ after: ['std'] }, [raised.std]],
    [{ after: ['std'], unknownCode: 'MINE' }, [raised.std]],
    [{ after: ['setError'], unknownCode: 'MINE' }, [set]],
    [{ after: ['replyError'] }, [sent]],
    [{ after: ['reply', 'setError'] }, [done, set]],
    [{ after: ['replyError', 'std'] }, [sent, raised.std]],
    [{ begin: [...notify(2), 'zax'] }, [...numbers(2), raised.zax]],
    [{ after: ['notify', 'reply'] }, [done, [0, 1]]],
  ];
  for (const [steps, expected] of table) {
    assert.deepStrictEqual(await repliesOfJob(steps), expected, JSON.stringify(steps));
  }
});

test('notifications of jobs side by side are complete and in order', async () => {
  const count = 3000;
  const begin = notify(count);
  for (let i = 0; i < count; i += 100) begin[i] = 'sleep';
  const jobs = await Promise.all(Array.from({ length: 6 }, () => repliesOfJob({ begin })));
  for (const replies of jobs) {
    assert.deepStrictEqual(replies, [...numbers(count - count / 100), done]);
  }
});

'use strict';

const assert = require('node:assert');
const { test } = require('node:test');
const { bridge, inChild, repliesOfJob, replyOf, shown, thrownBy } = require('./support');

const raised = {
  zax: 'RAISED: raised on purpose (zax::Exception in raise, bridge/bridge/errors.cpp)',
  std: 'EUNKNOWN: disk full (std::runtime_error in assign, libzaxbase/zax-error-info.cpp)',
};
const set = 'SET: set by job (AsyncJob::setError() in run, bridge/bridge/jobs.cpp)';
const sent = 'SENT: sent (ZAXError::ZAXError() in run, bridge/bridge/jobs.cpp)';
const done = [0, 'done'];

const notify = (count) => new Array(count).fill('notify');
const numbers = (count) => Array.from({ length: count }, (_, i) => [0, i + 1]);

test('failures before the job are thrown', () => {
  for (const [how, expected] of Object.entries(raised)) {
    assert.strictEqual(shown(thrownBy(bridge.raise, how)), expected);
    assert.strictEqual(shown(thrownBy(bridge.job, how, [], [], '', assert.fail)), expected);
  }
  assert.deepStrictEqual(replyOf(bridge.live), [0, 0]);
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
    [{ begin: notify(3) }, [...numbers(3), done]],
    [{ begin: [...notify(2), 'zax'] }, [...numbers(2), raised.zax]],
    [{ after: ['notify', 'reply'] }, [done, [0, 1]]],
  ];
  for (const [steps, expected] of table) {
    const replies = (await repliesOfJob(steps)).map((reply) =>
      reply.length === 1 ? shown(reply[0]) : reply,
    );
    assert.deepStrictEqual(replies, expected, JSON.stringify(steps));
    assert.deepStrictEqual(replyOf(bridge.live), [0, 0]);
  }
});

test('arguments of every type live as long as the job', async () => {
  const simple = ['a', -1, 2 ** 32 - 1, 2 ** 53, true, true];
  const map = { d: '2', c: '1' };
  const collections = [['b', 'a'], ['b', 'a'], [-1], [-1], map, map, { 7: 'x' }];
  const reply = await new Promise((resolve) => {
    bridge.everyType(...simple, ...collections, (_, values) => resolve(values));
  });
  assert.strictEqual(
    JSON.stringify(reply),
    '["a",-1,4294967295,9007199254740992,true,1,["b","a"],["a","b"],[4294967295],[-1],' +
      '[["d","2"],["c","1"]],[["c","1"],["d","2"]],[[7,"x"]]]',
  );
});

test('notifications of jobs side by side are complete and in order', async () => {
  const count = 3000;
  const begin = notify(count);
  for (let i = 0; i < count; i += 100) begin[i] = 'sleep';
  const jobs = await Promise.all(Array.from({ length: 6 }, () => repliesOfJob({ begin })));
  for (const replies of jobs) {
    assert.deepStrictEqual(replies, [...numbers(count - count / 100), done]);
  }
  assert.deepStrictEqual(replyOf(bridge.live), [0, 0]);
});

test('a job lets go of its callback', async () => {
  const callback = await new Promise((resolve) => {
    const fn = () => resolve(new WeakRef(fn));
    bridge.job('', [], ['reply'], '', fn);
  });
  await new Promise(setImmediate);
  globalThis.gc();
  assert.strictEqual(callback.deref(), undefined);
});

test('notifications keep the event loop alive, from the first on', () => {
  const { status, stdout } = inChild((native) => {
    const handles = () => native.releaseLoop((_, count) => console.log('handles', count));
    native.job('', [], ['reply'], '', () => {
      handles();
      native.job('', ['notify', 'notify'], ['default'], '', (...reply) => {
        // The timer fires only if something else keeps the loop alive.
        if (reply.length === 0) setTimeout(handles, 50).unref();
      });
    });
  });
  assert.strictEqual(stdout, 'handles 0\nhandles 1\n');
  assert.strictEqual(status, 0);
});

test('callbacks that throw', () => {
  const run = (native, handled) => {
    if (handled) process.on('uncaughtException', ({ message }) => console.log(message));
    native.job('', ['notify', 'notify'], ['reply'], '', (_, value) => {
      throw new Error(`at ${value}`);
    });
    const wait = () =>
      native.live((_, [jobs, notifications]) => {
        if (jobs > 0) return setImmediate(wait);
        console.log('notifications left:', notifications);
        process.exit();
      });
    wait();
  };
  const handled = inChild(run, true);
  assert.strictEqual(handled.stdout, 'at 1\nat 2\nat done\nnotifications left: 0\n');
  const unhandled = inChild(run, false);
  assert.match(unhandled.stderr, /Error: at 1/);
  assert.deepStrictEqual([unhandled.status, unhandled.stdout], [1, '']);
});

test('what is thrown in a job and is no exception', () => {
  const table = [
    ['text', 'Unhandled exception: boom\n', 'Unhandled exception: boom'],
    ['null', 'Unhandled exception: ', 'Unhandled exception: nullptr'],
    ['int', "AsyncJob::onBeginJob: Unhandled exception 'int'\n", 'Unhandled exception'],
  ];
  for (const [how, output, message] of table) {
    const { stdout, stderr } = inChild((native, step) => {
      native.job('', [step], ['reply'], 'MINE', (error, ...rest) => {
        console.error(JSON.stringify([{ ...error, message: error.message }, ...rest]));
      });
    }, how);
    assert.strictEqual(stdout, output);
    const [error, ...rest] = JSON.parse(stderr);
    assert.deepStrictEqual(rest, []);
    assert.strictEqual(
      shown(error),
      `EFAILED: ${message} (zax::ErrnoGenericException<(zax::Errno)202> in onBeginJob, ` +
        'libzaxbase/zax-v8-async-job.cpp)',
    );
  }
});

test('what is thrown on the JavaScript thread and is no exception', () => {
  const table = [
    [(native) => native.raise('int'), 'int'],
    [(native) => native.raise('text'), 'char const\\*'],
    [(native) => native.job('', [], ['int'], '', () => {}), 'int'],
  ];
  for (const [fn, type] of table) {
    const { signal, stdout, stderr } = inChild(fn);
    assert.strictEqual(signal, 'SIGABRT');
    const report = [
      'Unhanlded exception, dumping callstack:',
      '(\\[0x[0-9a-f]{16} \\+ 0x[0-9a-f]{8}\\] .* \\(\\?\\?\\?\\)\n)+\\(End of callstack\\)',
      'Aborting...\n$',
    ];
    assert.match(stdout, new RegExp(report.join('\n')));
    assert.match(stderr, new RegExp(`terminate called after throwing an instance of '${type}'`));
  }
});

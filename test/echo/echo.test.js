'use strict';

const assert = require('node:assert/strict');
const { spawnSync } = require('node:child_process');
const { test } = require('node:test');
const { Worker } = require('node:worker_threads');

const echo = require('echo');
const promises = require('echo/promises');

const input = (text, wait = 5) => `(input argument str=${text}, wait=${wait})`;
const module_ = 'echo/zax-echo-worker.cpp';
const record = 'libzaxbase/zax-error-info.cpp';

/** Checks an error against [code, message, exception class, file, function]. */
function assertError(error, [code, message, exceptionClass, file, fn]) {
  assert.equal(error.name, 'ZaxBindingError');
  assert.ok(error instanceof Error);
  assert.equal(error.code, code);
  assert.equal(error.message, message);
  const { line, ...details } = error.details;
  assert.ok(line > 0);
  assert.deepEqual(details, { exceptionClass, file, function: fn, callstack: [] });
  const place = file === record ? `${exceptionClass} (native)` : `${fn} (${file}:${line})`;
  assert.equal(error.stack.split('\n')[1], `    at ${place}`);
}

/** All replies of a call until its job has replied with `last` or an error. */
function repliesOf(fn, wait, text) {
  return new Promise((resolve) => {
    const replies = [];
    fn(wait, text, (...reply) => {
      replies.push(reply);
      if (reply.length === 1 || reply[1] === text) setImmediate(resolve, replies);
    });
  });
}

test('the module has exactly its four functions, anonymous, in order', () => {
  const names = ['asyncEcho', 'asyncEchoWithNotifications', 'syncEcho', 'echoNan'];
  assert.deepEqual(Object.getOwnPropertyNames(echo), names);
  for (const name of names) assert.equal(echo[name].name, '');
});

test('strings are echoed on every road, trigger words of another road included', async () => {
  const texts = [
    'x',
    '',
    'Grüße, 世界 🎉',
    'Failure',
    'failure ',
    'Job_failure',
    'y'.repeat(100000),
  ];
  for (const text of texts) {
    const replies = [];
    assert.equal(
      echo.syncEcho(0, text, (...reply) => replies.push(reply)),
      undefined,
    );
    assert.deepEqual(replies, [[0, text]]);
    assert.equal(echo.echoNan(text, 1, 2), text);
    assert.deepEqual(await repliesOf(echo.asyncEcho, 0, text), [[0, text]]);
  }
  assert.deepEqual(await repliesOf(echo.asyncEcho, 0, 'failure'), [[0, 'failure']]);
  const start = performance.now();
  echo.syncEcho(100, 'x', () => assert.ok(performance.now() - start >= 95));
  assert.equal(echo.echoNan('cut\0here'), 'cut');
  assert.equal(echo.echoNan(), '');
});

test('notifications come in order, each once, before the reply, also with many jobs at once', async () => {
  const texts = ['job_failure', ...Array.from({ length: 20 }, (_, i) => `job ${i}`)];
  const all = texts.map((text) => repliesOf(echo.asyncEchoWithNotifications, 40, text));
  for (const [i, replies] of (await Promise.all(all)).entries()) {
    const suffixes = ['-0%', '-25%', '-50%', '-75%', '-100%', ''];
    assert.deepEqual(
      replies,
      suffixes.map((suffix) => [0, texts[i] + suffix]),
    );
  }
});

test('failures of a call are thrown and the callback is not called', async () => {
  const count = (got) => `Bad argument number: expected 3, but got ${got}`;
  const badCount = (got) => [
    ...['EBADARG', count(got), 'zax::BadArgumentNumber'],
    ...['libzaxbase/zax-exception-common.cpp', 'BadArgumentNumber'],
  ];
  const badType = (message, fn) => [
    ...['EBADARG', message, 'zax::ErrnoGenericException<(zax::Errno)201>'],
    ...['libzaxbase/zax-v8-utils.cpp', fn],
  ];
  const cb = () => assert.fail('the callback was called');
  const each = ['syncEcho', 'asyncEcho', 'asyncEchoWithNotifications'];
  const cases = [
    [each, [], badCount(0)],
    [each, [1, 'x'], badCount(2)],
    [each, ['wrong', 5, cb, 4], badCount(4)],
    [each, ['1', 5, 6], badType('Number expected', 'parseInt')],
    [each, [1, null, 6], badType('String expected', 'parseString')],
    [each, [1, 'x', 6], badType('Function expected', 'parseCallback')],
    [each, [1, 'x', undefined], badType('Function undefined', 'parseCallback')],
    [
      ['syncEcho'],
      [1000, 'failure', cb],
      [
        'TEST-ERROR',
        `simulated failure in sync binding with zax::Exception ${input('failure', 1000)}`,
        ...['zax::Exception', module_, 'syncEcho'],
      ],
    ],
    [
      ['echoNan'],
      ['failure'],
      ['ENOENT', '', 'zax::ErrnoGenericException<(zax::Errno)2>', module_, 'echoNan'],
    ],
    [
      ['asyncEcho'],
      [5, 'argument_failure', cb],
      [
        'TEST-ERROR',
        `simulated argument failure with zax::Exception ${input('argument_failure')}`,
        ...['zax::Exception', module_, 'create'],
      ],
    ],
    [
      ['asyncEcho'],
      [5, 'argument_failure_std', cb],
      [
        ...['EUNKNOWN', 'simulated failure with std::logic_error', 'std::logic_error'],
        ...[record, 'assign'],
      ],
    ],
  ];
  for (const [names, args, expected] of cases) {
    for (const name of names) {
      const start = performance.now();
      assert.throws(
        () => echo[name](...args),
        (error) => assertError(error, expected) ?? true,
      );
      assert.ok(performance.now() - start < 500, 'it waited before it failed');
    }
  }
  await promises.asyncEcho(20, 'time for a stray callback');
});

test('failures of a job reach the callback as its only argument, once', async () => {
  const std = (stage) => [
    ...['EUNKNOWN', `simulated ${stage} failure with std::logic_error`, 'std::logic_error'],
    ...[record, 'assign'],
  ];
  const own = (stage, means, word, exceptionClass, fn) => [
    ...['TEST-ERROR', `simulated ${stage} failure with ${means} ${input(word, 200)}`],
    ...[exceptionClass, module_, fn],
  ];
  const thrown = ['zax::Exception', 'zax::Exception'];
  const set = ['setError()', 'AsyncJob::setError()'];
  const replied = ['replyError()', 'ZAXError::ZAXError()'];
  const job = (word, [means, type]) => [word, false, own('job', means, word, type, 'beginJob')];
  const reply = (word, [means, type]) => [word, true, own('reply', means, word, type, 'afterJob')];
  const cases = [
    job('job_failure', thrown),
    job('job_failure_set', set),
    ['job_failure_std', false, std('job')],
    reply('reply_failure', thrown),
    reply('reply_failure_reply', replied),
    reply('reply_failure_set', set),
    ['reply_failure_std', true, std('reply')],
  ];
  for (const [word, waits, expected] of cases) {
    const start = performance.now();
    const replies = await repliesOf(echo.asyncEcho, 200, word);
    assert.equal(performance.now() - start >= 195, waits, `${word}: when it replied`);
    assert.equal(replies.length, 1, word);
    assert.equal(replies[0].length, 1, word);
    assertError(replies[0][0], expected);
  }
});

test('an argument that echoNan cannot convert ends the process with the report', () => {
  const script = "process.stdout.write('before\\n'); require('echo').echoNan(5)";
  const child = spawnSync(process.execPath, ['-e', script], { cwd: __dirname, encoding: 'utf8' });
  assert.equal(child.signal, 'SIGABRT');
  const begin =
    'before\nUnhanlded exception, dumping callstack:\n[0x0000000000000000 + 0x00000000] ';
  assert.equal(child.stdout.slice(0, begin.length), begin);
  assert.match(
    child.stdout,
    /echo\.node.* \(\?\?\?\)\n(.*\n)*\(End of callstack\)\nAborting\.\.\.\n$/,
  );
  assert.match(child.stderr, /zax::ErrnoGenericException<\(zax::Errno\)201>/);
});

test('a Worker is refused before anything is loaded', async () => {
  const worker = new Worker("require('echo')", { eval: true });
  const error = await new Promise((resolve) => worker.once('error', resolve));
  assert.equal(error.message, 'echo cannot be loaded in a Worker: load it in the main thread');
});

test('the demonstration ends by itself and shows every error', () => {
  const child = spawnSync(process.execPath, ['../../demo'], {
    cwd: __dirname,
    encoding: 'utf8',
    timeout: 30000,
  });
  assert.equal(child.status, 0);
  assert.equal(child.stdout.match(/TEST-ERROR {2}simulated/g).length, 7);
  assert.match(child.stdout, /^work-0%\nwork-25%\nwork-50%\nwork-75%\nwork-100%\n/m);
});

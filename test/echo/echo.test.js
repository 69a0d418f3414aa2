'use strict';

// The module as its users call it. Any arguments whatever are in test/property, the ends of the
// process in test/exits.

const assert = require('node:assert/strict');
const { test } = require('node:test');

const echo = require('echo');
const { laterRepliesOf, run, shown, thrownBy } = require('../support');

const wait = 300; // milliseconds
const source = 'echo/zax-echo-worker.cpp';
const zax = 'zax::Exception';

test('the module has exactly its four functions, anonymous, in order', () => {
  const names = ['asyncEcho', 'asyncEchoWithNotifications', 'syncEcho', 'echoNan'];
  assert.deepEqual(Object.getOwnPropertyNames(echo), names);
  for (const name of names) assert.equal(echo[name].name, '');
});

test('what is thrown, what is replied, and after which time', async () => {
  const input = (text) => `(input argument str=${text}, wait=${wait})`;
  const own = (means, thrown, fn) => (text) =>
    `TEST-ERROR: simulated ${means} ${input(text)} (${thrown} in ${fn}, ${source})`;
  const std = (stage) => () =>
    `EUNKNOWN: simulated ${stage} with std::logic_error ` +
    '(std::logic_error in assign, libzaxbase/zax-error-info.cpp)';
  const replied = (error) => (text) => [error(text)];
  const job = (means, thrown) => replied(own(`job failure with ${means}`, thrown, 'beginJob'));
  const reply = (means, thrown) => replied(own(`reply failure with ${means}`, thrown, 'afterJob'));
  const echoed = (text) => [[0, text]];
  const steps = ['-0%', '-25%', '-50%', '-75%', '-100%', ''];
  const table = [
    ['syncEcho', 'job_failure', true, echoed],
    ['asyncEcho', 'failure', true, echoed],
    ['asyncEchoWithNotifications', 'job_failure', true, (text) => steps.map((s) => [0, text + s])],
    ['syncEcho', 'failure', false, own(`failure in sync binding with ${zax}`, zax, 'syncEcho')],
    ['asyncEcho', 'argument_failure', false, own(`argument failure with ${zax}`, zax, 'create')],
    ['asyncEcho', 'argument_failure_std', false, std('failure')],
    ['asyncEcho', 'job_failure', false, job(zax, zax)],
    ['asyncEcho', 'job_failure_set', false, job('setError()', 'AsyncJob::setError()')],
    ['asyncEcho', 'job_failure_std', false, replied(std('job failure'))],
    ['asyncEcho', 'reply_failure', true, reply(zax, zax)],
    ['asyncEcho', 'reply_failure_reply', true, reply('replyError()', 'ZAXError::ZAXError()')],
    ['asyncEcho', 'reply_failure_set', true, reply('setError()', 'AsyncJob::setError()')],
    ['asyncEcho', 'reply_failure_std', true, replied(std('reply failure'))],
  ];
  for (const [name, text, waits, expected] of table) {
    const outcome = expected(text);
    const start = performance.now();
    const seen = await laterRepliesOf(outcome.length, echo[name], wait, text).then(
      (replies) => replies.map((each) => (each.length === 1 ? shown(each[0]) : each)),
      shown,
    );
    assert.deepEqual(seen, outcome);
    assert.equal(performance.now() - start >= wait - 5, waits, `${text}: when`);
  }
});

test('echoNan', () => {
  assert.equal(echo.echoNan(), '');
  const error = `ENOENT:  (zax::ErrnoGenericException<(zax::Errno)2> in echoNan, ${source})`;
  assert.equal(shown(thrownBy(echo.echoNan, 'failure')), error);
});

test('the demonstration ends by itself and shows every error', async () => {
  const { status, stdout } = await run(process.execPath, ['../../demo'], { cwd: __dirname });
  assert.equal(status, 0);
  assert.equal(stdout.match(/TEST-ERROR {2}simulated/g).length, 7);
  assert.match(stdout, /^work-0%\nwork-25%\nwork-50%\nwork-75%\nwork-100%\n/m);
  assert.match(stdout, /^forecast 5%\n.*^forecast 100%\n.*: TimeoutError: /ms);
});

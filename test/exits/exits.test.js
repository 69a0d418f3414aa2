'use strict';

// How a process ends, or goes on, when something happens at a bad moment, and what it prints. Each
// case is a script that runs in a process of its own.

const assert = require('node:assert/strict');
const { test } = require('node:test');
const { run } = require('../support');

const assertText = (actual, expected) =>
  expected instanceof RegExp ? assert.match(actual, expected) : assert.equal(actual, expected);

/** A case: the exit status or signal, standard output and standard error; then the script. */
const endsWith =
  (prelude) =>
  (name, status, stdout = '', stderr = '') =>
  (...script) =>
    test(name, async () => {
      const args = ['-e', prelude + String.raw(...script)];
      const ended = await run(process.execPath, args, { cwd: __dirname, env: { TELL_LIVE: 1 } });
      assert.equal(ended.status, status, ended.stderr);
      assertText(ended.stdout, stdout);
      assertText(ended.stderr, stderr);
    });

const ends = endsWith(`
  const echo = require('echo');
  const { asyncEcho, asyncEchoWithNotifications, syncEcho } = echo;
  const { log } = console;
  const spin = (ms) => { for (const end = Date.now() + ms; Date.now() < end; ); };
  const nothing = () => {};
  const fail = (message) => { throw new Error(message); };
  const many = (fn, callback) => { for (let i = 0; i < 40; i++) fn(200, 'n' + i, callback); };
  // The other jobs post while the drain is at work.
  const inNotification = (act) => many(asyncEchoWithNotifications, (_, text) => {
    if (text === 'n3-25%') { spin(200); act('x'); }
  });
`);

ends('exit with jobs queued and running', 3)`many(asyncEcho, nothing); process.exit(3);`;
ends('exit with notifications pending', 3)`
  many(asyncEchoWithNotifications, nothing); spin(110); process.exit(3);`;
ends('exit in a notification', 3)`inNotification(() => process.exit(3));`;
ends('exit in a listener for an exception of a notification', 3)`
  process.on('uncaughtException', () => process.exit(3));
  inNotification(fail);`;
ends('exception in a notification', 1, '', /Error: x\n {4}at/)`inNotification(fail);`;
ends('exit in a reply', 3)`many(asyncEcho, () => process.exit(3));`;
const ofJob = /ZaxBindingError: simulated job failure.*\n {4}at beginJob \(echo/;
ends('exception in an error reply', 1, '', ofJob)`
  asyncEcho(5, 'job_failure', (error) => { throw error; });`;

ends('exceptions in replies, listened to', 0, 'synchronous\nwent on\nreply\nerror\nlast\n')`
  process.on('uncaughtException', (error) => log(error.message));
  asyncEcho(5, 'x', () => fail('reply'));
  asyncEcho(30, 'reply_failure', () => fail('error'));
  syncEcho(0, 'x', () => fail('synchronous'));
  log('went on');
  asyncEcho(60, 'last', (_, text) => log(text));`;
ends('exceptions in notifications, listened to', 0, 'n-0%\nn-25%\nn-50%\nn-75%\nn-100%\nn\n')`
  process.on('uncaughtException', (error) => log(error.message));
  asyncEchoWithNotifications(20, 'n', (_, text) => {
    if (text !== 'n') fail(text);
    log(text);
    process.exit();
  });`;
ends('the first notification makes no handle of the loop', 0, '0 1\n')`
  const handles = () => process.report.getReport().libuv.filter(({ type }) => type === 'async');
  const referenced = (all) => all.filter(({ is_referenced }) => is_referenced).length;
  asyncEcho(0, '', () => {
    const before = handles();
    asyncEchoWithNotifications(0, 'n', (_, text) => {
      if (text !== 'n') return;
      const after = handles();
      log(after.length - before.length, referenced(after) - referenced(before));
      process.exit();
    });
  });`;
ends('errors while another is delivered', 0, 'TEST-ERROR TEST-ERROR EUNKNOWN\n')`
  asyncEcho(0, 'job_failure', (outer) => {
    try { syncEcho(0, 'failure', nothing); } catch (inner) {
      asyncEcho(0, 'reply_failure_std', (later) => log(outer.code, inner.code, later.code));
    }
  });`;
ends('the script side fails while it makes an error', 0, 'RangeError\nwent on\n')`
  globalThis.createZaxBindingError = (code) => { syncEcho('x'); };
  try { syncEcho(0, 'failure', nothing); } catch (error) { log(error.constructor.name); }
  log('went on');`;
// Node loads an add-on that is not context-aware once in a process.
ends('the module is required again', 0, 'true\nERR_DLOPEN_FAILED\nthe first still works\n')`
  log(require('echo') === echo);
  for (const file of Object.keys(require.cache)) delete require.cache[file];
  try { require('echo'); } catch (error) { log(error.code); }
  asyncEcho(0, 'the first still works', (_, text) => log(text));`;

const frames = /(\[0x[0-9a-f]{16} \+ 0x[0-9a-f]{8}\] .* \(\?\?\?\)\n)+/.source;
const report = new RegExp(
  `^before\nUnhanlded exception, dumping callstack:\n${frames}\\(End of callstack\\)\nAborting\\.\\.\\.\n$`,
);
const passedOn = (type) => new RegExp(`^terminate called after throwing an instance of '${type}`);
ends('a value that echoNan cannot convert', 'SIGABRT', report, passedOn('zax::ErrnoGenericExc'))`
  log('before');
  echo.echoNan(5);`;

const nativeEnds = endsWith(`
  const { bridge, shown } = require('../support');
  const { log } = console;
`);

nativeEnds('a call throws an int', 'SIGABRT', report, passedOn('int'))`
  log('before'); bridge.raise('int');`;
nativeEnds('a reply throws an int', 'SIGABRT', report, passedOn('int'))`
  log('before'); bridge.job('', [], ['int'], '', () => {});`;
for (const [how, printed, message] of [
  ['text', 'Unhandled exception: boom\n', 'Unhandled exception: boom'],
  ['null', 'Unhandled exception: ', 'Unhandled exception: nullptr'],
  ['int', "AsyncJob::onBeginJob: Unhandled exception 'int'\n", 'Unhandled exception'],
]) {
  const error =
    `EFAILED: ${message} (zax::ErrnoGenericException<(zax::Errno)202> in onBeginJob, ` +
    'libzaxbase/zax-v8-async-job.cpp)\n';
  nativeEnds(`a job throws ${how}`, 0, printed, error)`
    bridge.job('', ['${how}'], ['reply'], 'MINE', (...all) => console.error(...all.map(shown)));`;
}

// A static Callback is destroyed after JavaScript, or with it still there.
nativeEnds('a callback is kept', 0)`bridge.keep(() => {});`;
nativeEnds('a callback is kept at exit', 3)`bridge.keep(() => {}); process.exit(3);`;

// A Worker that loads the binary first has its own jobs; those that it leaves would take minutes.
const inBoth = `
  const { Worker, parentPort } = require('node:worker_threads');
  const { log } = console;
  const spin = (ms) => { for (const end = Date.now() + ms; Date.now() < end; ); };
  const start = (count, steps, callback = () => {}) => {
    while (count-- > 0) require('../support').bridge.job('', steps, ['reply'], '', callback);
  };`;
const workerEnds = endsWith(`${inBoth}
  const begin = (body) => new Worker(${JSON.stringify(inBoth)} + body, { eval: true })
    .on('exit', (code) => log('ended', code)).on('error', (error) => log(error.message));
`);

workerEnds('a Worker has jobs', 3, '0 1\n0 2\n0 done\nalive\nended 5\n')`
  begin('(' + (() => {
    require('../support').bridge.keep(log);
    const later = () => { log('alive'); process.exit(5); };
    start(1, ['notify', 'wait', 'notify'], (...reply) => {
      log(...reply);
      if (reply[1] === 'done') setTimeout(later, 20).unref();
    });
  }) + ')()').on('exit', () => process.exit(3));`;
const tell = 'parentPort.postMessage(0); for (;;);';
for (const [moment, script] of [
  ['jobs waiting', 'start(4000, ["wait"]); setTimeout(act, 20);'],
  ['notifications pending', 'start(4000, ["notify", "wait", "notify"]); spin(150); act();'],
  ['a notification', 'start(4000, ["notify", "wait", "notify"], () => { spin(150); act(); });'],
  ['a reply', 'start(4000, ["wait"], act);'],
  ['an error reply', 'start(4000, ["wait", "zax"], act);'],
]) {
  for (const [end, status, stdout, act, ofMain] of [
    ['terminate', 0, 'ended 1\n', tell, 'worker.terminate()'],
    ['exit in the main thread', 3, '', tell, 'process.exit(3)'],
    ['exit in the Worker', 0, 'ended 5\n', 'process.exit(5)'],
    ['exception', 0, 'thrown\nended 1\n', 'throw new Error("thrown")'],
  ]) {
    workerEnds(`${end} with a Worker's jobs: ${moment}`, status, stdout)`
      const worker = begin('const act = () => { ${act} }; ${script}');
      worker.on('message', () => { ${ofMain} });`;
  }
}

const absent = (name) => `JS object ${name} is not a function\n`;
const tooLong = `Error message exceeds buffer size: ${'x'.repeat(5000)}\n`;
nativeEnds('a message that does not fit', 0, 'MINE Error message buffer overflow\n', tooLong)`
  globalThis.__ = (...args) => args.join('|');
  bridge.job('', ['long'], [], 'MINE', ({ code, message }) => log(code, message));`;

// Functions of the script side that are missing or fail: what is done to one, what a call that
// fails does then, what each of three jobs does, and what is on standard error every time.
const create = 'globalThis.createZaxBindingError';
const takes = 'function (...args) { return [this === globalThis, args.length].join(); }';
const fails = '() => { throw new Error("script"); }';
for (const [fate, ofCall, ofEachJob, trace = ''] of [
  [`delete ${create}`, 'returned undefined', '', absent('createZaxBindingError')],
  [`${create} = null`, 'returned undefined', '', 'JS object createZaxBindingError not found\n'],
  [`${create} = () => null`, 'returned undefined', ''],
  [`${create} = () => undefined`, 'threw undefined', 'replied \n'],
  [`${create} = ${takes}`, 'threw true,3', 'replied true,3\n'],
  [`${create} = 5`, 'returned undefined', '', absent('createZaxBindingError')],
  [`${create} = ${fails}`, 'threw Error: script', 'uncaught Error: script\nreplied \n'],
  ['delete globalThis.__', 'threw ZaxBindingError', 'replied ZaxBindingError\n', absent('__')],
  [`__ = ${fails}`, 'threw Error: script', 'uncaught Error: script\nreplied ZaxBindingError\n'],
]) {
  nativeEnds(fate, 0, `${ofCall}\n${ofEachJob.repeat(3)}`, trace.repeat(4))`
    ${fate};
    process.on('uncaughtException', (error) => log('uncaught ' + error));
    try { log('returned ' + bridge.raise('zax')); } catch (error) { log('threw ' + error); }
    for (const stages of [[['zax'], []], [[], ['zax']], [[], ['replyError']]]) {
      bridge.job('', ...stages, '', (...reply) => log('replied ' + reply));
    }`;
}

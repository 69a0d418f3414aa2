'use strict';

// How a process ends, or goes on, when something happens at a bad moment. Each case is a script that
// runs in a process of its own with a time limit.

const assert = require('node:assert/strict');
const { spawn } = require('node:child_process');
const { test } = require('node:test');

const prelude = `
  const echo = require('echo');
  const { asyncEcho, asyncEchoWithNotifications, syncEcho } = echo;
  const log = (...words) => console.log(...words);
  const spin = (ms) => { for (const end = Date.now() + ms; Date.now() < end; ); };
  const nothing = () => {};
  const many = (count, wait, callback) => {
    for (let i = 0; i < count; i++) asyncEchoWithNotifications(wait, 'n' + i, callback);
  };
`;

/** Runs a script and resolves to what it printed and how it ended. */
function run(script, env = {}) {
  return new Promise((resolve) => {
    const child = spawn(process.execPath, ['-e', prelude + script], {
      cwd: __dirname,
      env: { ...process.env, ...env },
      timeout: 20000,
      killSignal: 'SIGKILL',
    });
    const result = { stdout: '', stderr: '' };
    for (const name of ['stdout', 'stderr']) {
      child[name].on('data', (data) => {
        result[name] += data;
      });
    }
    child.on('close', (status, signal) => resolve({ ...result, status: signal ?? status }));
  });
}

const listener = "process.on('uncaughtException', (error) => log('uncaught', error.message));";

// What the process must print, and the exit status or signal.
const cases = {
  'exit with jobs queued and running': {
    script: `for (let i = 0; i < 40; i++) asyncEcho(50, 'x', nothing); process.exit(3);`,
    status: 3,
  },
  'exit with notifications pending': {
    script: `many(8, 100, nothing); spin(60); process.exit(3);`,
    status: 3,
  },
  // The other jobs post while the drain is at work: they wait for it when the process ends.
  'exit in a notification while other jobs post': {
    script: `many(8, 200, (_, text) => { if (text === 'n3-25%') { spin(200); process.exit(3); } });`,
    status: 3,
  },
  'exit in a listener for an exception of a notification': {
    script: `process.on('uncaughtException', () => process.exit(3));
      many(8, 200, (_, text) => { if (text === 'n3-25%') { spin(200); throw new Error('x'); } });`,
    status: 3,
  },
  'exception in a notification while other jobs post': {
    script: `many(8, 200, (_, text) => { if (text === 'n3-25%') { spin(200); throw new Error('x'); } });`,
    status: 1,
    stderr: /Error: x\n {4}at/,
  },
  'exit in a reply': {
    script: `many(4, 100, (_, text) => { if (text === 'n1') process.exit(3); });`,
    status: 3,
  },
  'exception in a reply': {
    script: `asyncEcho(5, 'x', () => { throw new Error('boom'); });`,
    status: 1,
    stderr: /Error: boom\n {4}at/,
  },
  'exception in an error reply': {
    script: `asyncEcho(5, 'job_failure', (error) => { throw error; });`,
    status: 1,
    stderr: /ZaxBindingError: simulated job failure.*\n {4}at beginJob \(echo/,
  },
  'exception in a synchronous reply': {
    script: `syncEcho(5, 'x', () => { throw new Error('boom'); }); log('not reached');`,
    status: 1,
    stderr: /Error: boom\n {4}at/,
  },
  'exceptions in replies, with a listener': {
    script: `${listener}
      asyncEcho(5, 'x', () => { throw new Error('reply'); });
      asyncEcho(30, 'reply_failure', () => { throw new Error('error reply'); });
      syncEcho(0, 'x', () => { throw new Error('synchronous reply'); });
      log('went on');
      asyncEcho(60, 'last', (_, text) => log(text));`,
    status: 0,
    stdout: 'uncaught synchronous reply\nwent on\nuncaught reply\nuncaught error reply\nlast\n',
  },
  'an exception in each notification, with a listener': {
    script: `${listener}
      asyncEchoWithNotifications(20, 'n', (_, text) => {
        if (text === 'n') { log('reply'); process.exit(); }
        throw new Error(text);
      });`,
    status: 0,
    stdout: `${['n-0%', 'n-25%', 'n-50%', 'n-75%', 'n-100%'].map((text) => `uncaught ${text}\n`).join('')}reply\n`,
  },
  'long jobs that occupy the pool delay the others and lose nothing': {
    script: `const replies = [];
      for (const text of ['a', 'b']) asyncEcho(150, text, (_, text) => replies.push(text));
      asyncEchoWithNotifications(0, 'c', (_, text) => {
        log(text);
        if (text === 'c') process.exit(replies.join() === 'a,b' ? 0 : 1);
      });`,
    env: { UV_THREADPOOL_SIZE: '1' },
    status: 0,
    stdout: 'c-0%\nc-25%\nc-50%\nc-75%\nc-100%\nc\n',
  },
  'an error while another is delivered': {
    script: `asyncEcho(0, 'job_failure', (outer) => {
        try { syncEcho(0, 'failure', nothing); } catch (inner) { log(outer.code, inner.message); }
        asyncEcho(0, 'reply_failure_std', (later) => log(later.code, later.message));
      });`,
    status: 0,
    stdout:
      'TEST-ERROR simulated failure in sync binding with zax::Exception (input argument str=failure, wait=0)\n' +
      'EUNKNOWN simulated reply failure with std::logic_error\n',
  },
  'an error of an error: the script side fails while it makes one': {
    script: `globalThis.createZaxBindingError = (code) => { syncEcho('x'); };
      try { syncEcho(0, 'failure', nothing); } catch (error) { log(error.constructor.name); }
      log('went on');`,
    status: 0,
    stdout: 'RangeError\nwent on\n',
  },
  // Node loads an add-on that is not context-aware once in a process.
  'the module is required twice, and again after the cache was cleared': {
    script: `log(require('echo') === echo);
      for (const file of Object.keys(require.cache)) delete require.cache[file];
      try { require('echo'); } catch (error) { log(error.code); }
      asyncEcho(0, 'the first still works', (_, text) => log(text));`,
    status: 0,
    stdout: 'true\nERR_DLOPEN_FAILED\nthe first still works\n',
  },
  'a Worker that loads the binary itself after the main thread has it': {
    script: `const binary = Object.keys(require.cache).find((file) => file.endsWith('echo.node'));
      const { Worker } = require('node:worker_threads');
      const worker = new Worker('require(' + JSON.stringify(binary) + ')', { eval: true });
      worker.on('error', (error) => log(error.code));
      worker.on('exit', () => asyncEcho(0, 'main goes on', (_, text) => log(text)));`,
    status: 0,
    stdout: 'ERR_DLOPEN_FAILED\nmain goes on\n',
  },
  'without a notification nothing keeps the process alive': {
    script: `asyncEcho(5, 'x', (_, text) => log(text));`,
    status: 0,
    stdout: 'x\n',
  },
};

for (const [name, { script, env, status, stdout = '', stderr }] of Object.entries(cases)) {
  test(name, { concurrency: true }, async () => {
    const result = await run(script, env);
    assert.equal(result.status, status, result.stderr);
    assert.equal(result.stdout, stdout);
    if (stderr) assert.match(result.stderr, stderr);
    else assert.equal(result.stderr, '');
  });
}

'use strict';

// Shows the module at work: its four functions, jobs side by side, live progress, and every error
// that it can be asked for. Then plain C++ functions, and tasks.

const echo = require('echo');
const { asyncEcho, asyncEchoWithNotifications } = require('echo/promises');
const plain = require('./plain');
const tasks = require('./tasks');
const { progressBar } = require('./progress-bar');
const { heading, table } = require('./table');

function synchronous() {
  heading('Synchronous');
  echo.syncEcho(50, 'hello', (...reply) => console.log('syncEcho(50, "hello") replied', reply));
  console.log('echoNan("hello") returned', echo.echoNan('hello'));
}

async function jobsInFlight() {
  heading('Four jobs of 200 ms in flight at once');
  const start = performance.now();
  const elapsed = () => `${Math.round(performance.now() - start)} ms`;
  const jobs = ['one', 'two', 'three', 'four'].map(async (text) => {
    console.log(
      `asyncEcho(200, "${text}") replied "${await asyncEcho(200, text)}" at ${elapsed()}`,
    );
  });
  console.log(`all four calls returned at ${elapsed()}`);
  await Promise.all(jobs);
}

async function progress() {
  heading('A job that tells its progress');
  const bar = progressBar(process.stdout);
  const reply = await asyncEchoWithNotifications(1200, 'work', (text) => bar.update(text));
  bar.end();
  console.log(`asyncEchoWithNotifications(1200, "work") replied "${reply}"`);
}

/** Makes a call and tells how its error reached JavaScript. */
function failureOf(name, ...args) {
  const shown = `${name}(${args.map((arg) => JSON.stringify(arg)).join(', ')})`;
  return new Promise((resolve) => {
    const row = (how, error) => resolve({ call: shown, how, error });
    const callback = (...reply) => row(reply.length === 1 ? 'callback' : 'no error', reply[0]);
    try {
      if (name === 'echoNan') echo[name](...args);
      else echo[name](...args, callback);
    } catch (error) {
      row('thrown', error);
    }
  });
}

async function failures() {
  heading('Every error, as JavaScript received it');
  const words = [
    ...['argument_failure', 'argument_failure_std'],
    ...['job_failure', 'job_failure_set', 'job_failure_std'],
    ...['reply_failure', 'reply_failure_reply', 'reply_failure_set', 'reply_failure_std'],
  ];
  const results = await Promise.all([
    failureOf('syncEcho', 5),
    failureOf('syncEcho', '5', 'text'),
    failureOf('syncEcho', 5, 'failure'),
    failureOf('echoNan', 'failure'),
    ...words.map((word) => failureOf('asyncEcho', 5, word)),
  ]);
  const rows = results.map(({ call, how, error: { code, message, details } }) => [
    call,
    how,
    code,
    message,
    details.exceptionClass,
    `${details.file}:${details.line}`,
    details.function,
  ]);
  const columns = { call: 24, how: 8, code: 10, message: 36, class: 22, place: 24, function: 17 };
  console.log(table(columns, rows));
  console.log('\nOne of them as Node prints it:\n');
  console.log(results[2].error);
}

async function main() {
  synchronous();
  await jobsInFlight();
  await progress();
  await failures();
  plain();
  await tasks();
}

// The first notification keeps the event loop alive from then on, so the end is said.
main().then(() => process.exit());

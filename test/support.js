'use strict';

// What the tests share: the replies of native functions, errors as text, and child processes.

const { execFile } = require('node:child_process');
const path = require('node:path');

require('zaxbase/runtime').install();

/** All calls that a native function makes of its callback before it returns. */
function repliesOf(fn, ...args) {
  const replies = [];
  fn(...args, (...reply) => replies.push(reply));
  return replies;
}

/** The first `count` calls of a callback, with those of the turn after them; fails without them. */
const laterRepliesOf = (count, fn, ...args) =>
  new Promise((resolve, reject) => {
    const replies = [];
    fn(...args, (...reply) => replies.push(reply) === count && setImmediate(resolve, replies));
    setTimeout(() => reject(new Error(`only ${replies.length} replies`)), 10_000).unref();
  });

/** What a call throws. */
function thrownBy(fn, ...args) {
  try {
    fn(...args);
  } catch (error) {
    return error;
  }
  throw new Error('the call did not throw');
}

/** An error of the framework as one line; any other value as it is. */
function shown(error) {
  if (!error?.details) return error;
  const { code, message, details } = error;
  return `${code}: ${message} (${details.exceptionClass} in ${details.function}, ${details.file})`;
}

/** The line of an error that a conversion throws. */
const bad = (message, fn, errno = 201) =>
  `${errno === 201 ? 'EBADARG' : 'EFAILED'}: ${message} ` +
  `(zax::ErrnoGenericException<(zax::Errno)${errno}> in ${fn}, libzaxbase/zax-v8-utils.cpp)`;

/** Runs a command; resolves to what it printed and its exit status, or the signal that ended it. */
function run(command, args, options = {}) {
  const { NODE_TEST_CONTEXT, ...env } = { ...process.env, ...options.env };
  env.PATH = `${path.dirname(process.execPath)}:${env.PATH}`;
  const limits = { timeout: 60_000, killSignal: 'SIGKILL', maxBuffer: 1 << 26 };
  return new Promise((resolve) => {
    execFile(command, args, { ...limits, ...options, env }, (error, stdout, stderr) => {
      resolve({ status: error ? (error.signal ?? error.code) : 0, stdout, stderr });
    });
  });
}

module.exports = {
  ...{ repliesOf, laterRepliesOf, thrownBy, shown, bad, run },
  /** The add-on of these tests; not all of them need it built. */
  get bridge() {
    return require('./build/Release/bridge.node');
  },
};

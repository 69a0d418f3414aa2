'use strict';

const { spawnSync } = require('node:child_process');

const addon = require.resolve('../build/Release/bridge.node');
const runtime = require.resolve('zaxbase/runtime');
const bridge = require(addon);

require(runtime).install();

/** All calls that a native function makes of its callback before it returns. */
function repliesOf(fn, ...args) {
  const replies = [];
  fn(...args, (...reply) => replies.push(reply));
  return replies;
}

/** The value that a bound function hands back through its callback. */
const replyOf = (fn, ...args) => repliesOf(fn, ...args)[0][1];

/** Runs a job to its end and tells all calls of its callback. */
async function repliesOfJob({ begin = [], after = ['reply'], unknownCode = '' }) {
  const replies = [];
  bridge.job('', begin, after, unknownCode, (...reply) => replies.push(reply));
  for (const end = Date.now() + 10_000; replyOf(bridge.live)[0] > 0;) {
    if (Date.now() > end) throw new Error('the job never ends');
    await new Promise(setImmediate);
  }
  replyOf(bridge.releaseLoop);
  return replies;
}

/** What a call throws. */
function thrownBy(fn, ...args) {
  try {
    fn(...args);
  } catch (error) {
    return error;
  }
  throw new Error('the call did not throw');
}

/** An error of the framework as one line; any other as it is. */
function shown(error) {
  if (!error?.details) return error;
  const { code, message, details } = error;
  return `${code}: ${message} (${details.exceptionClass} in ${details.function}, ${details.file})`;
}

/** Runs a function by itself in another process: for what ends, or litters, the one it runs in. */
function inChild(fn, ...args) {
  const script = `
    const bridge = require(${JSON.stringify(addon)});
    require(${JSON.stringify(runtime)}).install();
    (${fn})(bridge, ...${JSON.stringify(args)});`;
  return spawnSync(process.execPath, ['-e', script], { encoding: 'utf8', timeout: 20_000 });
}

module.exports = { bridge, repliesOf, replyOf, repliesOfJob, thrownBy, shown, inChild };

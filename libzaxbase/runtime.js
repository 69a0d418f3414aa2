'use strict';

// The script side of the framework: `load`, and for jobs by hand the functions that native code calls
// by name on the global object to make an error's message and its value, and a promise form.

const { AsyncResource } = require('node:async_hooks');
const { isNativeError } = require('node:util/types');
const vm = require('node:vm');

const ZaxBindingError = require('./error-class');
const { load } = require('./load');

/**
 * Builds a message. With one argument, that text is the message. With named values, every `%(key)s`
 * is replaced by its value, an unknown key by "<unknown>"; a "%" that does not begin a complete
 * placeholder ends the message there.
 */
function buildMessage(format, values) {
  const text = String(format);
  if (values === undefined || values === null) return text;
  let message = '';
  let at = 0;
  for (;;) {
    const percent = text.indexOf('%', at);
    if (percent < 0) return message + text.slice(at);
    message += text.slice(at, percent);
    const end = text.indexOf(')', percent);
    if (text[percent + 1] !== '(' || end <= percent + 2 || text[end + 1] !== 's') return message;
    const key = text.slice(percent + 2, end);
    message += Object.hasOwn(values, key) ? values[key] : '<unknown>';
    at = end + 2;
  }
}

/** The frames of a captured stack, without the lines before them. */
function scriptFrames(trace) {
  const stack = String(trace.stack ?? '');
  const begin = stack.indexOf('\n    at ');
  return begin < 0 ? '' : stack.slice(begin);
}

/** Makes the value that JavaScript receives as the error. */
function createZaxBindingError(code, message, details) {
  return new ZaxBindingError(code, message, details, createZaxBindingError);
}

/**
 * Puts "__" and "createZaxBindingError" on the global object of the running context and on the main
 * one, where native code looks them up, unless the application has put its own there.
 */
function install() {
  for (const global of [globalThis, vm.runInThisContext('globalThis')]) {
    for (const [name, value] of Object.entries({ __: buildMessage, createZaxBindingError })) {
      if (name in global) continue;
      Object.defineProperty(global, name, { value, writable: true, configurable: true });
    }
  }
}

/** How many arguments native code wanted and got, where that is why it refused a call. */
function countsOf(error) {
  if (error?.details?.exceptionClass !== 'zax::BadArgumentNumber') return [];
  return /(\d+)\D+(\d+)$/.exec(error.message)?.slice(1).map(Number) ?? [];
}

/**
 * Calls a job function with arguments and a callback, which an error about their number leaves out.
 * For a job that notifies the last may be an `undefined` in the place of onProgress: it is dropped.
 */
function start(fn, args, callback, notifies) {
  try {
    fn(...args, callback);
  } catch (error) {
    const [want, got] = countsOf(error);
    if (!want || got !== args.length + 1) throw error;
    if (notifies && got === want + 1 && args.at(-1) === undefined) {
      args.pop();
      return fn(...args, callback);
    }
    error.message = error.message.replace(/\d+/g, (count) => count - 1);
    throw error;
  }
}

/**
 * The promise form of a job function, whose last argument is the callback. Each call returns a
 * promise for the value of the reply; a failure, of the call or of the job, rejects it with an error
 * whose stack continues with the caller's frames. AsyncLocalStorage is kept.
 *
 * For a job that notifies, `options.settles(value, args)` says whether a value is the reply. The
 * values before it go to the function that the call brings after its other arguments, if it does:
 * its onProgress, which may be `undefined`.
 */
function promisify(fn, options = {}) {
  const { settles } = options;
  return function promisified(...args) {
    const onProgress =
      settles && typeof args.at(-1) === 'function' ? AsyncResource.bind(args.pop()) : undefined;
    const caller = {};
    Error.captureStackTrace(caller, promisified);
    return new Promise((resolve, reject) => {
      const callback = (...reply) => {
        if (reply.length === 1) {
          const [error] = reply;
          if (isNativeError(error)) error.stack += scriptFrames(caller);
          reject(error);
        } else if (!settles || settles(reply[1], args)) {
          resolve(reply[1]);
        } else {
          onProgress?.(reply[1]);
        }
      };
      start(fn.bind(this), args, callback, Boolean(settles));
    });
  };
}

module.exports = {
  __: buildMessage,
  createZaxBindingError,
  ZaxBindingError,
  install,
  load,
  promisify,
};

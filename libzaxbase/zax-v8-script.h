#ifndef ZAX_V8_SCRIPT_H
#define ZAX_V8_SCRIPT_H

namespace zax {

// The script side of the plain road. zaxbase/runtime takes the first of these texts from this file,
// so that there is one class of errors whoever comes first.

/// The value is the class of errors.
inline constexpr char errorClassScript[] = R"script(
(() => {
  // What a program may replace later.
  const { Error, String } = globalThis;
  const { captureStackTrace } = Error;
  const { defineProperty } = Object;

  /** In sloppy mode, as all of this but the class: where Error is frozen nothing happens. */
  function limitStacks(limit) {
    Error.stackTraceLimit = limit;
  }

  /**
   * The raising place. An exception from outside the framework does not tell it: then the details
   * name the JavaScript function or, in jobs by hand, the framework's own conversion.
   */
  function placeOf({ exceptionClass, function: name, file, line }) {
    if (name === 'assign' && file.endsWith('zax-error-info.cpp')) name = exceptionClass;
    else if (file !== 'native') return `${name} (${file}:${line})`;
    return `${name} (native)`;
  }

  /** The raising place and the native call stack, a line each in V8's style. */
  function nativeFrames(details) {
    let frames = '';
    if (details?.function) frames += `\n    at ${placeOf(details)}`;
    for (const frame of details?.callstack ?? []) {
      frames += `\n    at ${frame.function.replace(/^ -> /, '')}`;
    }
    return frames;
  }

  /** The frames of a captured stack, without the lines before them. */
  function scriptFrames(trace) {
    const stack = String(trace.stack ?? '');
    const begin = stack.indexOf('\n    at ');
    return begin < 0 ? '' : stack.slice(begin);
  }

  /**
   * What JavaScript receives when native code fails: an Error with the code and the details of the
   * native error. Its stack begins with the place in the native code that raised it.
   */
  class ZaxBindingError extends Error {
    #trace;

    /**
     * The property `stack`: formatted when somebody reads it, and not before, as that is the dearest
     * part of an error. Each error has its own: Node takes for no error what has none, and tells of
     * its rejection that nobody handles without its stack.
     */
    static #stack = {
      get() {
        const frames = #trace in this ? scriptFrames(this.#trace) : '';
        return `${this}${nativeFrames(this.details)}${frames}`;
      },
      set(value) {
        defineProperty(this, 'stack', { value, writable: true, configurable: true });
      },
      configurable: true,
    };

    /**
     * Frames of the stack down to the function `caller` are left out. Native code gives an object
     * instead that has captured the stack.
     */
    constructor(code, message, details, caller = new.target) {
      const limit = Error.stackTraceLimit;
      limitStacks(undefined); // The trace is captured once, below.
      super(message ?? '');
      limitStacks(limit);
      defineProperty(this, 'stack', ZaxBindingError.#stack);
      this.code = code;
      this.details = details;
      this.#trace = typeof caller === 'object' ? caller : {};
      if (caller !== this.#trace) captureStackTrace(this.#trace, caller);
    }
  }

  defineProperty(ZaxBindingError.prototype, 'name', {
    value: 'ZaxBindingError',
    writable: true,
    configurable: true,
  });
  return ZaxBindingError;
})();
)script";

/// The value is a function of the class of errors, which gives the function that makes an error.
inline constexpr char makeErrorScript[] = R"script(
(ZaxBindingError) => (code, message, exceptionClass, file, line, fn, callstack, system, trace) => {
  const details = { exceptionClass, file, line, function: fn, callstack: callstack ?? [] };
  return new ZaxBindingError(code, message, system ? { ...details, ...system } : details, trace);
};
)script";

/// The value is a function of two native ones, which gives the script side of tasks: `drop(task)`
/// keeps one that waits for a thread from running, `cancel(task)` tells one that runs.
inline constexpr char taskScript[] = R"script(
(drop, cancel) => {
  const { Set, WeakMap, process } = globalThis;
  const { AsyncResource } = process.getBuiltinModule('node:async_hooks');
  const listeners = new WeakMap(); // of signals, one for all tasks of each

  return {
    /**
     * Gives the values of an array to onProgress, in the async context of the task's caller. Called
     * again after one of them has thrown, it goes on with the next.
     */
    deliverer(onProgress) {
      const caller = new AsyncResource('ZaxTask');
      let next = 0;
      const give = (values) => {
        while (next < values.length) onProgress(values[next++]);
        next = 0;
      };
      return (values) => caller.runInAsyncScope(give, undefined, values);
    },

    raise(error) {
      throw error;
    },

    /** Cancels a task when the signal is aborted; returns whether it is already. */
    listen(signal, task) {
      if (signal.aborted) return true;
      let listener = listeners.get(signal);
      if (!listener) {
        const tasks = new Set();
        listener = () => {
          tasks.forEach(drop); // first, for one that ends makes room for one that waits
          tasks.forEach(cancel);
        };
        listener.tasks = tasks;
        signal.addEventListener('abort', listener, { once: true });
        listeners.set(signal, listener);
      }
      listener.tasks.add(task);
      return false;
    },

    unlisten(signal, task) {
      const listener = listeners.get(signal);
      listener.tasks.delete(task);
      if (listener.tasks.size > 0) return;
      listeners.delete(signal);
      signal.removeEventListener('abort', listener);
    },
  };
};
)script";

/// The value is a function of the prototype of Buffers, which gives a function that makes one over
/// a part of an ArrayBuffer. Node's own way from native code makes a Uint8Array and changes its
/// prototype, which takes longer than all the rest. Throws where the class is not as Node has it.
inline constexpr char makeBufferScript[] = R"script(
(prototype) => {
  const FastBuffer = prototype.constructor[Symbol.species];
  if (FastBuffer.prototype !== prototype) throw new TypeError();
  return (memory, offset, size) => new FastBuffer(memory, offset, size);
};
)script";

/// Readers and writers of many values are functions with these parameters: an array, the index to
/// begin with, the index to end before, shared numbers. A reader returns the array of the values
/// that are no numbers and leaves the index it has come to in the number after the last; a writer
/// is given the array of values.
inline constexpr const char* readNumbersBody = R"script(
  let k = 0;
  for (let i = from; i < to; ++i) {
    const value = array[i];
    if (typeof value !== 'number') break;
    numbers[k++] = value;
  }
  numbers[capacity] = from + k;
)script";

inline constexpr const char* writeNumbersBody = R"script(
  for (let i = from, k = 0; i < to; ++i, ++k) array[i] = numbers[k];
)script";

}  // namespace zax

#endif

/** A frame of a native call stack. */
export interface CallStackItem {
  function: string;
  file: string;
  /** Hexadecimal, as in "0x1f". */
  offset: string;
  address: string;
}

/** What native code knows about an error. */
export interface ErrorDetails {
  /** The C++ class of the exception, as in "zax::BadArgumentNumber". */
  exceptionClass: string;
  /** The place in the native code that raised the error. */
  file: string;
  line: number;
  function: string;
  /** Empty, unless the place that raised the error collected one. */
  callstack: CallStackItem[];
  /** A system error, where there is one. */
  syscode?: number;
  sysdesc?: string;
  sysmsg?: string;
}

/**
 * What JavaScript receives when native code fails. The stack begins with the place in the native
 * code that raised the error, or with the class of an exception from outside the framework.
 */
export class ZaxBindingError extends Error {
  /** Frames of the stack down to the function `caller` are left out. */
  constructor(
    code: string,
    message: string | null,
    details: ErrorDetails,
    caller?: (...args: never) => unknown,
  );
  name: string;
  /** Such as "EBADARG" or "open-ENOENT". */
  code: string;
  details: ErrorDetails;
}

/**
 * What a callback receives: `(0, value)`, or the error as its only argument. A ready JavaScript
 * value comes as `(null, value)`: declare such a function with a callback of its own.
 */
export type Reply<T> = [error: 0, value: T] | [error: ZaxBindingError];

/**
 * A function that starts a job and replies with `(0, value)`. Its callback may be written
 * `(...reply)`, `(error)` or `(error, value)`: in each form the error tells whether there is a value.
 */
export interface JobFunction<A extends unknown[], T> {
  (...args: [...args: A, callback: (...reply: Reply<T>) => void]): undefined;
  (...args: [...args: A, callback: (error: Reply<T>[0]) => void]): undefined;
  (
    ...args: [
      ...args: A,
      callback: (
        ...reply: [error: 0, value: T] | [error: ZaxBindingError, value: undefined]
      ) => void,
    ]
  ): undefined;
}

/**
 * The value of a reply. Native code replies with `(0, value)`, with `(null, value)` when it made
 * the JavaScript value itself, and without arguments when there is no value.
 */
export type ReplyValue<R extends unknown[]> = R extends [error: 0 | null, value: infer T]
  ? T
  : R extends []
    ? undefined
    : never;

type TakesCallback<A extends unknown[], R extends unknown[]> = (
  ...args: [...args: A, callback: (...reply: R) => void]
) => void;

/**
 * The promise form of a job function. A failure, of the call or of the job, rejects the promise
 * with an error whose stack continues with the caller's frames.
 */
export function promisify<A extends unknown[], R extends unknown[]>(
  fn: TakesCallback<A, R>,
): (...args: A) => Promise<ReplyValue<R>>;

/**
 * The same for a job that notifies: `settles` tells the reply from the values before it, which go
 * to onProgress, if it is given and not `undefined`.
 */
export function promisify<A extends unknown[], R extends unknown[], S extends ReplyValue<R>>(
  fn: TakesCallback<A, R>,
  options: { settles(value: ReplyValue<R>, args: A): value is S },
): (...args: [...args: A, onProgress?: (value: Exclude<ReplyValue<R>, S>) => void]) => Promise<S>;
export function promisify<A extends unknown[], R extends unknown[]>(
  fn: TakesCallback<A, R>,
  options: { settles(value: ReplyValue<R>, args: A): boolean },
): (...args: [...args: A, onProgress?: (value: ReplyValue<R>) => void]) => Promise<ReplyValue<R>>;

/** Builds a message: with values, every `%(key)s` of the format is replaced by its value. */
export function __(format: string, values?: Readonly<Record<string, string>>): string;

/** Makes the value that JavaScript receives as the error. */
export function createZaxBindingError(
  code: string,
  message: string | null,
  details: ErrorDetails,
): ZaxBindingError;

/**
 * Puts "__" and "createZaxBindingError" on the global object, where native code looks them up, and
 * on that of the `vm` context that calls it, unless the application has put its own there. Call it
 * before the first call of the add-on.
 */
export function install(): void;

/**
 * The exports of an add-on on ZAX_MODULE: finds its binary below the add-on's folder (a local build,
 * or the one for every Node that it was published with). The folder is a path (`__dirname`,
 * `import.meta.dirname`) or a `file:` URL (also that of a file in it). Where there is no binary, or
 * one that does not fit this Node or this framework, the error says so and how to build it.
 */
export function load<T = any>(folder: string | URL): T;

import type { JobFunction } from 'zaxbase/runtime';

/**
 * Waits, then calls back with `(0, str)` before it returns. A failure is thrown.
 * @param wait milliseconds
 */
export function syncEcho(
  wait: number,
  str: string,
  callback: (error: 0, value: string) => void,
): undefined;

/**
 * The same as a job: returns at once and calls back later, with `(0, str)` or with the error alone.
 * What goes wrong before the job starts is thrown.
 */
export const asyncEcho: JobFunction<[wait: number, str: string], string>;

/**
 * A job that also calls back with `(0, text)` for each step that it has made; `text` is the string
 * followed by "-0%", "-25%", "-50%", "-75%" and "-100%". The reply comes last.
 */
export const asyncEchoWithNotifications: JobFunction<[wait: number, str: string], string>;

/** Returns the string; a value that is no string ends the process. */
export function echoNan(str: string): string;

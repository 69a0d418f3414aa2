// Uses every declaration as a program would. Compiled only, never run.

import echo = require('echo');
import promises = require('echo/promises');
import zaxbase = require('zaxbase');
import runtime = require('zaxbase/runtime');
import addon = require('../../libzaxbase/template/javascript/index');

type Error = runtime.ZaxBindingError;

/** Each compiles only if the value's type, or those of the values, are exactly T. */
type Same<A, B> = (<X>() => X extends A ? 1 : 2) extends <X>() => X extends B ? 1 : 2 ? [] : never;
declare function is<T>(): <V>(value: V, ...same: Same<T, V>) => void;
declare function are<T extends unknown[]>(): <V extends unknown[]>(
  values: [...V],
  ...same: Same<T, V>
) => void;

// The callback forms. The first argument tells which shape the reply has.
const returned = echo.syncEcho(0, 'x', (...reply) => is<[error: 0, value: string]>()(reply));
are<[undefined, undefined, string]>()([
  returned,
  echo.asyncEcho(0, 'x', () => {}),
  echo.echoNan('x'),
]);
echo.asyncEcho(0, 'x', (...reply) => {
  is<[error: 0, value: string] | [error: Error]>()(reply);
  if (reply.length === 1) is<Error>()(reply[0]);
});
echo.asyncEcho(0, 'x', (error) => is<0 | Error>()(error));
echo.asyncEchoWithNotifications(0, 'x', (error, value) => {
  if (error === 0) is<string>()(value);
});

// @ts-expect-error
echo.syncEcho('0', 'x', () => {});
// @ts-expect-error
echo.syncEcho(0, 'x');
// @ts-expect-error
echo.syncEcho(0, 'x', () => {}, 1);
// @ts-expect-error
echo.asyncEcho(0, null, () => {});
// @ts-expect-error
echo.asyncEcho(0, 'x', (error: null, value: string) => [error, value]);
// @ts-expect-error
echo.asyncEcho(0, 'x', (error: 0, value: string) => [error, value]);
// @ts-expect-error
echo.asyncEcho(0, 'x', (error, value) => [error, value.length]);
// @ts-expect-error
echo.asyncEchoWithNotifications(0, 'x', (error, value: number) => [error, value]);
// @ts-expect-error
echo.echoNan(1);

// The promise forms.
is<Promise<string>>()(promises.asyncEcho(0, 'x'));
const notifying = promises.asyncEchoWithNotifications(0, 'x', (text) => is<string>()(text));
is<Promise<string>>()(notifying);
// @ts-expect-error
promises.asyncEcho(0, 'x', () => {});
// @ts-expect-error
promises.asyncEchoWithNotifications(0, 'x', (progress: number) => progress);

// What promisify makes of a job function, by the shape of its reply.
declare const bare: (path: string, callback: (...reply: [] | [Error]) => void) => void;
declare const ready: (callback: (...reply: [null, Date] | [Error]) => void) => void;
declare const digest: runtime.JobFunction<[path: string], number | string>;
const plain = runtime.promisify(echo.asyncEcho);
is<(wait: number, str: string) => Promise<string>>()(plain);
const settled = [runtime.promisify(bare)('x'), runtime.promisify(ready)()] as const;
is<readonly [Promise<undefined>, Promise<Date>]>()(settled);
const telling = runtime.promisify(digest, { settles: (value) => typeof value === 'string' });
is<Promise<string>>()(telling('x', (percent) => is<number>()(percent)));
const unsure = runtime.promisify(digest, { settles: (value, [path]): boolean => value === path });
is<Promise<number | string>>()(unsure('x'));
// @ts-expect-error
plain(0);
// @ts-expect-error
plain(0, 'x', () => {});
// @ts-expect-error
telling('x', (percent: string) => percent);
// @ts-expect-error
runtime.promisify(echo.asyncEcho, { settles: (value: number) => value > 0 });
// @ts-expect-error
runtime.promisify(echo.asyncEcho, {});
// @ts-expect-error
runtime.promisify('asyncEcho');

// Errors and their details.
try {
  echo.syncEcho(0, 'failure', () => {});
} catch (error) {
  if (!(error instanceof runtime.ZaxBindingError)) throw error;
  are<[string, string, string, string | undefined]>()([
    error.code,
    error.message,
    error.name,
    error.stack,
  ]);
  const { exceptionClass, file, line, function: fn, callstack, ...system } = error.details;
  are<[string, string, number, string]>()([exceptionClass, file, line, fn]);
  is<{ syscode?: number; sysdesc?: string; sysmsg?: string }>()(system);
  for (const frame of callstack) {
    is<{ function: string; file: string; offset: string; address: string }>()(frame);
  }
  // @ts-expect-error
  error.details.callstack.length = 'none';
  // @ts-expect-error
  error.syscode;
}

// The script side.
const details = { exceptionClass: 'X', file: 'f', line: 1, function: 'g', callstack: [] };
const made = new runtime.ZaxBindingError('CODE', null, details, () => {});
are<[Error, Error]>()([made, runtime.createZaxBindingError('CODE', 'text', details)]);
are<[string, string]>()([runtime.__('text'), runtime.__('%(key)s', { key: 'value' })]);
is<void>()(runtime.install());
// @ts-expect-error
runtime.__('%(key)s', 'value');
// @ts-expect-error
runtime.createZaxBindingError('CODE', 'text', { file: 'f' });
// @ts-expect-error
new runtime.ZaxBindingError(1, 'text', details);
// @ts-expect-error
runtime.install(true);

// Build files, and the add-on that the scaffold makes.
const { flags, ...told } = zaxbase;
is<Record<'include_dir' | 'targets' | 'version' | 'source' | 'frameSource', string>>()(told);
are<[string[], addon.Point]>()([flags, addon.centroid([{ x: 1, y: 2 }])]);
is<typeof addon>()(runtime.load<typeof addon>(new URL('file:///add-on/')));
const { signal } = new AbortController();
const onProgress = (percent: number) => is<number>()(percent);
is<Promise<number>>()(addon.countPrimes(5, { signal, onProgress }));
// @ts-expect-error
zaxbase.include;
// @ts-expect-error
addon.centroid([{ x: 1 }]);
// @ts-expect-error
addon.countPrimes(5, { percent: onProgress });
// @ts-expect-error
runtime.load();

// Uses every declaration as a program would. Compiled only, never run.

import echo = require('echo');
import promises = require('echo/promises');
import zaxbase = require('zaxbase');
import runtime = require('zaxbase/runtime');
import addon = require('../../libzaxbase/template');

type Error = runtime.ZaxBindingError;

/** Compiles only if the value's type is exactly T. */
type Same<A, B> = (<X>() => X extends A ? 1 : 2) extends <X>() => X extends B ? 1 : 2 ? [] : never;
declare function is<T>(): <V>(value: V, ...same: Same<T, V>) => void;

// The callback forms. The first argument tells which shape the reply has.
const returned = echo.syncEcho(0, 'x', (error, value) => {
  is<0>()(error);
  is<string>()(value);
});
is<undefined>()(returned);
is<undefined>()(echo.asyncEcho(0, 'x', () => {}));
echo.asyncEcho(0, 'x', (...reply) => {
  is<[error: 0, value: string] | [error: Error]>()(reply);
  if (reply.length === 1) is<Error>()(reply[0]);
  else is<string>()(reply[1]);
});
echo.asyncEcho(0, 'x', (error) => is<0 | Error>()(error));
echo.asyncEchoWithNotifications(0, 'x', (error, value) => {
  if (error === 0) is<string>()(value);
  else is<Error>()(error);
});
is<string>()(echo.echoNan('x'));

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
is<Promise<string>>()(promises.asyncEchoWithNotifications(0, 'x'));
promises.asyncEchoWithNotifications(0, 'x', (progress) => is<string>()(progress));
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
is<Promise<undefined>>()(runtime.promisify(bare)('x'));
is<Promise<Date>>()(runtime.promisify(ready)());
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
  is<string>()(error.code);
  is<string>()(error.message);
  is<string>()(error.name);
  is<string | undefined>()(error.stack);
  is<string>()(error.details.exceptionClass);
  is<string>()(error.details.file);
  is<number>()(error.details.line);
  is<string>()(error.details.function);
  is<number | undefined>()(error.details.syscode);
  is<string | undefined>()(error.details.sysdesc);
  is<string | undefined>()(error.details.sysmsg);
  for (const frame of error.details.callstack) {
    is<string[]>()([frame.function, frame.file, frame.offset, frame.address]);
    // @ts-expect-error
    frame.line;
  }
  // @ts-expect-error
  error.details.callstack.length = 'none';
  // @ts-expect-error
  error.syscode;
}

// The script side.
const details = { exceptionClass: 'X', file: 'f', line: 1, function: 'g', callstack: [] };
is<Error>()(runtime.createZaxBindingError('CODE', 'text', details));
is<Error>()(new runtime.ZaxBindingError('CODE', null, details, () => {}));
is<string>()(runtime.__('text'));
is<string>()(runtime.__('%(key)s', { key: 'value' }));
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
is<string[]>()([zaxbase.include_dir, zaxbase.targets, zaxbase.version, zaxbase.source]);
is<string[]>()(zaxbase.flags);
is<number>()(addon.smallestFactor(91));
is<addon.Point>()(addon.centroid([{ x: 1, y: 2 }]));
is<typeof addon>()(runtime.load<typeof addon>(new URL('file:///add-on/')));
// @ts-expect-error
zaxbase.include;
// @ts-expect-error
addon.centroid([{ x: 1 }]);
// @ts-expect-error
runtime.load();

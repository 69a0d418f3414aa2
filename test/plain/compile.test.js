'use strict';

// What the compilers see: no header of V8 behind zax.h, a sentence for each type that is missing, and
// declarations that TypeScript accepts.

const assert = require('node:assert/strict');
const path = require('node:path');
const { test } = require('node:test');
const ts = require('typescript');

const { run } = require('../support');

const include = path.join(__dirname, '../../libzaxbase');

/** Runs the compiler on an add-on with one function. */
function compile(fn, ...flags) {
  const source = `#include <zax.h>
    #include <functional>
    struct Unknown {}; struct Viewing { std::string_view text; };
    ZAX_FIELDS(Viewing, text);
    ZAX_MODULE(module) { module.function("f", ${fn}); }`;
  const script = `g++ -std=c++17 -x c++ -I "$0" "$@" - <<'EOF'\n${source}\nEOF`;
  return run('sh', ['-c', script, include, ...flags], { env: { LC_ALL: 'C' } });
}

test('zax.h includes no header of V8, Node, libuv or Nan', async () => {
  const { status, stdout } = await compile('[] {}', '-M');
  const headers = stdout.match(/[^\s\\]+\.h\b/g).map((file) => path.basename(file));
  assert.ok(status === 0 && headers.includes('zax-backend.h'));
  assert.deepEqual(
    headers.filter((name) => /^(v8|node\.|uv|nan|zax-v8)/.test(name)),
    [],
  );
});

const from = 'zaxbase knows no way from JavaScript to';
for (const [fn, sentence] of [
  ['[](Unknown) {}', `${from} this type: specialise zax::Value<T> with`],
  ['[](std::vector<Unknown*>) {}', `${from} the elements of this container`],
  ['[] { return Unknown(); }', 'zaxbase knows no way from this type to JavaScript'],
  ['[](std::string&) {}', 'a parameter must be a value or a const reference'],
  ['[](Viewing) {}', 'a member of this struct has a type that cannot come from JavaScript'],
  ['[](std::function<std::string_view()>) {}', 'what a JavaScript function returns ends with'],
  ['[](auto) {}', 'not a callable with one signature'],
]) {
  test(`${fn} is refused`, async () => {
    const { stderr } = await compile(fn, '-fsyntax-only');
    const [first] = stderr.match(/error: .*/) ?? [''];
    assert.ok(first.startsWith(`error: static assertion failed: ${sentence}`), stderr);
  });
}

test('declarations', () => {
  const plain = require('../build/Release/plain.node');
  const declare = plain[Symbol.for('zaxbase.declarations')];
  const use = `import * as plain from './plain';
    type Same<A, B> = (<T>() => T extends A ? 1 : 2) extends <T>() => T extends B ? 1 : 2 ? true : false;
    type Takes<F extends (...args: never[]) => unknown, P, R> = Same<[Parameters<F>, ReturnType<F>], [P, R]>;
    type Row = [plain.Point | undefined, boolean | string | number[], 'red' | 'green'];
    const is: [
      Takes<typeof plain.same.composed, [Record<string, Row[]>], Record<string, Row[]>>,
      Takes<typeof plain.same.numbers, [Map<number, string>], Map<number, string>>,
      Takes<typeof plain.apply, [(a: string, b: number | undefined) => string, string], string>,
      Takes<typeof plain.add, [number, (number | undefined | null)?], number>,
      Same<plain.Node['nodes'], (plain.Node | undefined)[]>, Same<typeof plain.default, Record<string, number>>,
    ] = [true, true, true, true, true, true];
    // @ts-expect-error
    plain['make-text'](1);
    export { is };`;
  const files = { 'plain.d.ts': declare(), 'use.ts': use };
  const moduleResolution = ts.ModuleResolutionKind.Bundler;
  const module = ts.ModuleKind.ES2022;
  const options = { strict: true, target: 9, module, moduleResolution, types: [] };
  const host = ts.createCompilerHost(options);
  const { getSourceFile, fileExists } = host;
  const textOf = (name) => files[path.basename(name)];
  host.fileExists = (name) => Boolean(textOf(name)) || fileExists(name);
  host.getSourceFile = (name, ...rest) =>
    textOf(name) ? ts.createSourceFile(name, textOf(name), 9) : getSourceFile(name, ...rest);
  const diagnostics = ts.getPreEmitDiagnostics(ts.createProgram(['use.ts'], options, host));
  assert.equal(ts.formatDiagnostics(diagnostics, host), '');
  assert.equal(declare(), files['plain.d.ts']);
  assert.match(
    declare(),
    /\/\*\* The sum\.\n \* Of two \*\\\/ numbers\. \*\/\nexport function add\(/,
  );
});

'use strict';

// What the compilers see: no header of V8 behind zax.h, a sentence for each type that is missing, and
// declarations that TypeScript accepts.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { test } = require('node:test');

const { diagnose } = require('../../scripts/typescript');
const { run } = require('../support');

/** Runs the compiler on an add-on with one function. */
function compile(fn, ...flags) {
  const source = `#include <zax.h>
    #include <functional>
    struct Unknown {}; struct Viewing { std::string_view text; };
    ZAX_FIELDS(Viewing, text);
    ZAX_MODULE(module) { module.function("f", ${fn}); }`;
  const script = `LC_ALL=C g++ -std=c++17 -x c++ -I "$0" "$@" - <<'EOF'\n${source}\nEOF`;
  const args = ['-c', script, path.join(__dirname, '../../libzaxbase'), ...flags];
  return run('sh', args, { env: { LD_PRELOAD: '' } }); // The compiler runs without a sanitizer.
}

test('zax.h includes no header of V8, Node, libuv or Nan, and none of threads, which take long', async () => {
  const { status, stdout } = await compile('[] {}', '-M');
  assert.ok(status === 0 && stdout.includes('/zax-backend.h'));
  assert.doesNotMatch(
    stdout,
    /\/((v8|node|uv|nan|zax-v8)\b[\w-]*\.h|(thread|condition_variable)\s)/,
  );
});

for (const [fn, sentence] of [
  ['[](Unknown) {}', 'zaxbase knows no way from JavaScript to this type: special'],
  ['[](std::vector<Unknown*>) {}', 'zaxbase knows no way from JavaScript to the elem'],
  ['[] { return Unknown(); }', 'zaxbase knows no way from this type to JavaScript'],
  ['[](std::string&) {}', 'a parameter must be a value or a const reference'],
  ['[](Viewing) {}', 'a member of this struct has a type that cannot come from JavaScript'],
  ['[] { zax::CancellationCallback({}, [] {}); }', 'nobody could take what the call throws'],
  ['[](std::function<std::string_view()>) {}', 'what a JavaScript function returns ends with'],
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
  const use = `import * as plain from './plain.mjs';
    type Row = [plain.Point_ | undefined, boolean | string | number[], 'red' | 'green'];
    const rows: Record<string, Row[]> = plain.same.composed({} as Record<string, Row[]>);
    const map: Map<number, string> = plain.same.numbers(new Map());
    const text: string = plain.apply((a: string, b: number | undefined) => a + b, '');
    const sum: number = plain.add(1, undefined) + plain.add(1, null) + plain.add(1);
    const other: plain.Point__ = { z: plain.other({ z: 1 }) };
    const nodes: (plain.Node | undefined)[] = plain.nested(1).nodes;
    const { Large, Store, values } = plain.types;
    const store = values.stores([new Large(), Store.open('x')])[0].self();
    const worked: Promise<number> = store.work(store.add(1), { onProgress: (n: number) => n });
    void [store.size++, store.close(), store[Symbol.dispose]()];
    // @ts-expect-error
    [plain['make-text']('1', plain.default.most), (store.fixed = 1), values.size({})];
    // @ts-expect-error
    new plain.types.Point(1);
    export { map, nodes, other, worked, rows, sum, text };`;
  const build = path.join(__dirname, '../build');
  fs.writeFileSync(path.join(build, 'plain.d.mts'), declare());
  fs.writeFileSync(path.join(build, 'use.mts'), use);
  assert.deepEqual(diagnose([path.join(build, 'use.mts')]), {});
  assert.equal(declare(), fs.readFileSync(path.join(build, 'plain.d.mts'), 'utf8'));
  assert.match(declare(), /\/\*\* The sum\.\n \* Of two \*\\\/ numbers\. \*\/\nexport function/);
  assert.equal(declare().split('[Symbol.dispose]').length, 2);
});

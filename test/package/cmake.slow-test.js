'use strict';

// An example built with CMake, by hand, by cmake-js and for publishing, does what node-gyp's does; the
// half without V8 is built with no Node in reach.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const { after, before, test } = require('node:test');

const { cache } = require('../../scripts/copy');
const { build, ensurePackages, root } = require('../../scripts/toolchain');
const { outputOf } = require('./npm');

const folder = path.join(cache, 'cmake'); // Below the root, where the modules are found.
const example = path.join(root, 'examples/words');
const framework = path.join(root, 'libzaxbase');
const remove = () => fs.rmSync(folder, { recursive: true, force: true });
before(() => (remove(), ensurePackages('cmake'), build('examples/words')));
after(remove);

/** What the example in a folder says, once its tests have passed. */
async function saidBy(cwd) {
  await outputOf(cwd, process.execPath, '--test');
  const script = `const words = require('.');
    const types = words[Symbol.for('zaxbase.declarations')]();
    try { words.words(['/none']); } catch ({ details, message }) { console.log(message, details, types); }`;
  return outputOf(cwd, process.execPath, '-e', script);
}

const compile = 'cmake --build build';
for (const [way, file, ...commands] of [
  ['by hand', 'build/Release/words.node', 'cmake -S . -B build', compile],
  ['by cmake-js', 'build/Release/words.node', 'npm exec -y --package=cmake-js@8 -- cmake-js build'],
  [
    'for publishing',
    `prebuilds/linux-${process.arch}/words.node`,
    `PATH=${root}/node_modules/.bin:$PATH node ${framework}/bin/zaxbase.js backend`,
    'cmake -S . -B build -D ZAXBASE_SPLIT=ON',
    compile,
  ],
]) {
  test(`the example built ${way}`, async () => {
    const cwd = path.join(folder, way);
    const filter = (entry) => path.basename(entry) !== 'build';
    fs.cpSync(example, cwd, { recursive: true, filter });
    for (const command of commands) await outputOf(cwd, 'sh', '-c', command);
    assert.ok(fs.existsSync(path.join(cwd, file)));
    assert.equal(await saidBy(cwd), await saidBy(example));
    const symbols = await outputOf(cwd, 'nm', '-DuC', file);
    assert.equal(/ v8::/.test(symbols), way !== 'for publishing');
  });
}

test('the half without V8, without Node', async () => {
  const main = `#include <zax-exception-common.h>
    #include <cstdio>
    int main() { std::puts(zax::BadArgumentNumber(1, 2, ZAX_DEBUG_INFO).where().file); }`;
  const lists = `cmake_minimum_required(VERSION 3.18)
    project(alone LANGUAGES CXX)
    add_subdirectory(${framework} zaxbase)
    add_executable(alone main.cpp)
    target_link_libraries(alone zaxbase::native)`;
  const files = { node: '#!/bin/sh\nexit 1', 'main.cpp': main, 'CMakeLists.txt': lists };
  for (const [file, text] of Object.entries(files)) {
    fs.writeFileSync(path.join(folder, file), text, { mode: 0o755 });
  }
  const commands = `PATH="$PWD:$PATH"; cmake -S . -B build >&2; ${compile} >&2; build/alone`;
  const printed = await outputOf(folder, 'sh', '-ec', commands);
  assert.equal(printed, 'libzaxbase/zax-exception-common.cpp\n');
});

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
const shell = (cwd, command) => outputOf(cwd, 'sh', '-ec', command);
before(() => {
  remove();
  ensurePackages('cmake');
  build('examples/words');
  return shell(root, 'PATH=$PWD/node_modules/.bin:$PATH; node libzaxbase/bin/zaxbase.js backend');
});
after(remove);

/** What the example in a folder says, once its tests have passed. */
async function saidBy(cwd) {
  await outputOf(cwd, process.execPath, '--test');
  const script = `const words = require('.');
    const types = words[Symbol.for('zaxbase.declarations')]();
    try { words.words(['/none']); } catch ({ details, message }) { console.log(message, details, types); }`;
  return outputOf(cwd, process.execPath, '-e', script);
}

const published = `prebuilds/linux-${process.arch}`;
for (const [way, place, command] of [
  ['by hand', 'build/Release', 'cmake -S . -B build; cmake --build build'],
  ['by cmake-js', 'build/Release', 'npm exec -y --package=cmake-js@8 -- cmake-js build'],
  ['to publish', published, 'cmake -S . -B build -D ZAXBASE_SPLIT=ON; cmake --build build'],
]) {
  test(`the example built ${way}`, async () => {
    const cwd = path.join(folder, way);
    const filter = (entry) => path.basename(entry) !== 'build';
    fs.cpSync(example, cwd, { recursive: true, filter });
    await shell(cwd, command);
    assert.equal(await saidBy(cwd), await saidBy(example));
    const symbols = await shell(cwd, `nm -DuC ${place}/words.node`);
    assert.equal(/ v8::/.test(symbols), place !== published);
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
  const commands = 'PATH=$PWD:$PATH; cmake -S . -B build >&2; cmake --build build >&2; build/alone';
  assert.equal(await shell(folder, commands), 'libzaxbase/zax-exception-common.cpp\n');
});

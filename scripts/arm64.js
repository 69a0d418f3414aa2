'use strict';

// Builds a copy of the framework, the module and the test add-on for arm64 and runs their tests in an
// emulator; then the tests of one binary for every Node: `node scripts/arm64.js [MAJOR...]`, on Node 26 by
// default.

const path = require('node:path');

const { copyRepository } = require('./copy');
const { binOf, emulatorOf, toolsOf } = require('./cross');
const { nodeOf } = require('./nodes');
const { build, ensureModules, ensurePackages, filesIn, root, run } = require('./toolchain');

const arch = 'arm64';
const majors = process.argv.length > 2 ? process.argv.slice(2) : ['26'];

ensureModules();
ensurePackages('compiler', 'make', 'python', 'gtest', 'arm64', 'emulator');
const tools = toolsOf(arch);
const copy = copyRepository(arch);

/** GoogleTest, which is installed for this machine only: the flags that find it. */
function buildGoogleTest() {
  const source = '/usr/src/googletest/googletest';
  for (const name of ['gtest', 'gtest_main']) {
    const [object, archive] = [`${name}.o`, `lib${name}.a`];
    const unit = path.join(source, 'src', name === 'gtest' ? 'gtest-all.cc' : `${name}.cc`);
    const flags = ['-c', '-O1', `-I${source}`, `-I${source}/include`];
    run(tools.CXX, [...flags, '-o', object, unit], { cwd: copy });
    run(tools.AR, ['rcs', archive, object], { cwd: copy });
  }
  return { CXXFLAGS: `-isystem ${source}/include`, LDFLAGS: `-L${copy}` };
}

const flags = buildGoogleTest();
for (const major of majors) {
  console.log(`== Node ${major}, ${arch}`);
  const env = { ...tools, ...flags, npm_config_nodedir: nodeOf(major, arch) };
  for (const folder of ['echo', 'test']) {
    build(path.join(path.relative(root, copy), folder), { env });
  }
  const [emulator, ...options] = emulatorOf(arch);
  const native = 'test/build/Release/native_tests';
  run(emulator, [...options, native, '--gtest_brief=1'], { cwd: copy });
  const folders = ['bridge', 'echo', 'plain', 'property', 'exits'].map((name) => `test/${name}`);
  const files = folders.flatMap((folder) => filesIn(folder, /\.test\.js$/));
  const node = path.join(binOf(major, arch), 'node');
  run(node, ['--expose-gc', '--test', '--test-force-exit', ...files], { cwd: copy });
}

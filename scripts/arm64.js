'use strict';

// Builds a copy of the framework, the module and the test add-on for arm64 and runs their tests in an
// emulator, on Node 26; then those of one binary for every Node: `node scripts/arm64.js [--quick]`. What
// is quick leaves out the ends of processes and all Nodes but one.

const path = require('node:path');

const { copyRepository } = require('./copy');
const { binOf, emulatorOf, toolsOf } = require('./cross');
const { nodeOf } = require('./nodes');
const { build, ensureModules, ensurePackages, filesIn, root, run } = require('./toolchain');

const arch = 'arm64';
const quick = process.argv.includes('--quick');
const majors = quick ? ['26'] : ['26', '24', '22', '20'];
const folders = ['bridge', 'echo', 'property', ...(quick ? [] : ['plain', 'exits'])];

ensureModules();
ensurePackages('compiler', 'make', 'python', 'gtest', 'arm64', 'emulator');
const tools = toolsOf(arch);
const [headers] = majors.map((major) => nodeOf(major, arch));
const node = path.join(binOf(majors[0], arch), 'node');
const copy = copyRepository(arch);

/** Compiles GoogleTest, which is installed for this machine only; returns the flags that find it. */
function buildGoogleTest() {
  const source = '/usr/src/googletest/googletest';
  const flags = ['-c', '-O1', `-I${source}`, `-I${source}/include`];
  for (const [name, unit] of Object.entries({ gtest: 'gtest-all', gtest_main: 'gtest_main' })) {
    run(tools.CXX, [...flags, '-o', `${name}.o`, `${source}/src/${unit}.cc`], { cwd: copy });
    run(tools.AR, ['rcs', `lib${name}.a`, `${name}.o`], { cwd: copy });
  }
  return { CXXFLAGS: `-isystem ${source}/include`, LDFLAGS: `-L${copy}` };
}

const env = { ...tools, npm_config_nodedir: headers, ...buildGoogleTest() };
for (const folder of ['echo', 'test']) {
  build(path.relative(root, path.join(copy, folder)), { env });
}
const [emulator, ...options] = emulatorOf(arch);
const native = ['test/build/Release/native_tests', '--gtest_brief=1'];
run(emulator, [...options, ...native], { cwd: copy });
const files = folders.flatMap((folder) => filesIn(`test/${folder}`, /(?<!compile)\.test\.js$/));
const flags = ['--expose-gc', '--test-force-exit', '--test-skip-pattern=the demonstration'];
run(node, ['--test', ...flags, ...files], { cwd: copy });

const split = ['--test', '--test-name-pattern=one binary', 'test/package/shipping.slow-test.js'];
run(process.execPath, split, {
  cwd: copy,
  env: { TEST_ARCH: arch, TEST_MAJORS: majors.join(' ') },
});

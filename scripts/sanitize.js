'use strict';

// Runs the tests of native code on a copy that is built with a sanitizer: `node scripts/sanitize.js
// address` or `thread`. The sanitizer's runtime is loaded into Node, which is not built with it.

const { execFileSync } = require('node:child_process');
const path = require('node:path');

const { copyRepository } = require('./copy');
const { ensureModules, ensurePackages, run } = require('./toolchain');

const kinds = {
  address: {
    // Node keeps the type information of its classes to itself, which `vptr` takes for damage.
    flags: '-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all',
    runtime: 'libasan.so',
    // Node itself frees little when it ends: leaks show in the native tests, which are run again.
    env: {
      ASAN_OPTIONS: 'detect_leaks=0:allocator_may_return_null=1',
      UBSAN_OPTIONS: 'print_stacktrace=1',
    },
    folders: ['test/bridge', 'test/echo', 'test/exits', 'test/plain', 'test/property'],
    leaks: { ASAN_OPTIONS: 'detect_leaks=1' },
  },
  thread: {
    flags: '-fsanitize=thread',
    runtime: 'libtsan.so',
    env: {
      TSAN_OPTIONS: `ignore_noninstrumented_modules=1 halt_on_error=1`,
    },
    folders: ['test/bridge', 'test/echo', 'test/exits', 'test/plain'],
  },
};

const kind = kinds[process.argv[2]];
if (!kind) {
  console.error(`usage: node scripts/sanitize.js ${Object.keys(kinds).join('|')}`);
  process.exit(2);
}

ensureModules();
ensurePackages('compiler');
const copy = copyRepository(`sanitize-${process.argv[2]}`);
const runtime = execFileSync('g++', [`-print-file-name=${kind.runtime}`], { encoding: 'utf8' });
const flags = `-g -O1 -fno-omit-frame-pointer ${kind.flags}`;
const env = {
  CXXFLAGS: flags,
  LDFLAGS: flags,
  TEST_PRELOAD: path.resolve(runtime.trim()),
  ...kind.env,
};
run(process.execPath, ['scripts/test.js', ...kind.folders], { cwd: copy, env });
if (kind.leaks) {
  run('test/build/Release/native_tests', ['--gtest_brief=1'], { cwd: copy, env: kind.leaks });
}

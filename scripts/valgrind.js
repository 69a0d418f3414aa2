'use strict';

// Runs the native tests under valgrind's memcheck. Tests that end a process on purpose are left out:
// what a process holds when it aborts is no leak.

const { build, ensureModules, ensurePackages, run } = require('./toolchain');

ensureModules();
ensurePackages('gtest', 'valgrind');
build('test');
run('valgrind', [
  '--quiet',
  '--error-exitcode=1',
  '--leak-check=full',
  '--show-leak-kinds=all',
  '--errors-for-leak-kinds=all',
  'test/build/Release/native_tests',
  '--gtest_brief=1',
  '--gtest_filter=-*Death*',
]);

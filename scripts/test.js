'use strict';

// Builds everything and runs all tests, with the Node that runs this.

const { build, ensureModules, ensurePackages, run, filesIn } = require('./toolchain');

ensureModules();
ensurePackages('gtest');
build('echo');
build('test');
run('test/build/Release/native_tests', ['--gtest_brief=1']);
run(process.execPath, ['--expose-gc', '--test', '--test-force-exit', ...filesIn('test', /\.test\.js$/)]);

'use strict';

// Runs the stress test: `node scripts/stress.js [SCALE]`, in full size by default.

const { build, ensureModules, ensurePackages, run } = require('./toolchain');

ensureModules();
ensurePackages('gtest');
build('test');
run(process.execPath, ['--expose-gc', 'test/stress/stress.js', ...process.argv.slice(2)]);

'use strict';

// Builds what is tested and runs the tests, with the Node that runs this:
// `node scripts/test.js [FOLDER...]`, by default all but the slow ones. TEST_PRELOAD names a library
// to load into the processes under test.

const { build, ensureModules, ensurePackages, filesIn, run } = require('./toolchain');

const folders = process.argv.slice(2);
const preload = process.env.TEST_PRELOAD;
const env = preload ? { LD_PRELOAD: preload } : {};

ensureModules();
ensurePackages('gtest');
build('echo');
build('test');
run('test/build/Release/native_tests', ['--gtest_brief=1'], { env });

// Notifications keep the event loop alive, hence the forced exit.
const flags = ['--expose-gc', '--test', '--test-force-exit'];
const files = (folders.length ? folders : ['test']).flatMap((folder) =>
  filesIn(folder, /\.test\.js$/),
);
run(process.execPath, [...flags, ...files], { env });

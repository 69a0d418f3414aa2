'use strict';

// Builds what is tested and runs the tests, with the Node that runs this: `node scripts/test.js
// [FOLDER...]`, by default all but the slow ones, which are `--slow`. TEST_PRELOAD names a library to
// load into the processes under test.

const { build, ensureModules, ensurePackages, filesIn, run } = require('./toolchain');

const folders = process.argv.slice(2);
const preload = process.env.TEST_PRELOAD;
const env = preload ? { LD_PRELOAD: preload } : {};

/** Runs test files. Notifications keep the event loop alive, hence the forced exit. */
function runFiles(files) {
  run(process.execPath, ['--expose-gc', '--test', '--test-force-exit', ...files], { env });
}

ensureModules();
ensurePackages('compiler', 'make', 'python', 'gtest');
if (folders[0] === '--slow') {
  runFiles(filesIn('test', /\.slow-test\.js$/));
  process.exit();
}

build('echo');
build('demo');
build('test');
if (folders.length === 0) {
  folders.push('test', 'examples');
  build('examples/digest');
  build('examples/words');
}
run('test/build/Release/native_tests', ['--gtest_brief=1'], { env });
runFiles(folders.flatMap((folder) => filesIn(folder, /\.test\.js$/)));

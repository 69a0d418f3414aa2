'use strict';

// Builds what is tested and runs the tests, with the Node that runs this: `node scripts/test.js
// [FOLDER...]`, by default all but the slow ones, which are `--slow`. TEST_PRELOAD names a library to
// load into the processes under test.

const { build, ensureModules, ensurePackages, filesIn, run } = require('./toolchain');

const folders = process.argv.slice(2);
const preload = process.env.TEST_PRELOAD;
const env = preload ? { LD_PRELOAD: preload } : {};

/** Runs test files. What uses the notifications of jobs by hand does not end by itself. */
function runFiles(files, ...flags) {
  run(process.execPath, ['--expose-gc', '--test', ...flags, ...files], { env });
}

ensureModules();
ensurePackages('compiler', 'make', 'python', 'gtest', 'sqlite');
if (folders[0] === '--slow') {
  runFiles(filesIn('test', /\.slow-test\.js$/), '--test-force-exit');
  process.exit();
}

build('echo');
build('demo');
build('test');
const isWhole = folders.length === 0;
if (isWhole) {
  folders.push('test');
  build('examples/digest');
  build('examples/sqlite');
  build('examples/words');
}
run('test/build/Release/native_tests', ['--gtest_brief=1'], { env });
const files = folders.flatMap((folder) => filesIn(folder, /\.test\.js$/));
runFiles(files, '--test-force-exit');
if (isWhole) runFiles(filesIn('examples', /\.test\.js$/));

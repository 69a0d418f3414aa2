'use strict';

// Builds what is tested and runs the tests, with the Node that runs this: `node scripts/test.js
// [FOLDER...]`, by default all but the slow ones, which are `--slow [NAME...]`. TEST_PRELOAD names a
// library to load into the processes under test.

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
  const names = folders.slice(1).join('|') || '.*';
  runFiles(filesIn('test', new RegExp(`/(${names})\\.slow-test\\.js$`)), '--test-force-exit');
  process.exit();
}

const isWhole = folders.length === 0;
for (const folder of ['echo', 'demo', 'test']) build(folder);
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

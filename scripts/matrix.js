'use strict';

// Builds and tests a copy of the repository on other Node lines, also with the slow tests that do not
// themselves run all lines: `node scripts/matrix.js 22 24 26`.

const fs = require('node:fs');
const path = require('node:path');

const { copyRepository } = require('./copy');
const { fetchNode } = require('./nodes');
const { ensureModules, run } = require('./toolchain');

ensureModules();
for (const major of process.argv.slice(2)) {
  const node = path.join(fetchNode(major), 'bin/node');
  const copy = copyRepository(`matrix-${major}`);
  console.log(`== Node ${major}`);
  const PATH = `${path.dirname(node)}${path.delimiter}${process.env.PATH}`;
  run(node, ['scripts/test.js'], { cwd: copy, env: { PATH } });
  run(node, ['scripts/test.js', '--slow', 'compile', 'package'], { cwd: copy, env: { PATH } });
  fs.rmSync(copy, { recursive: true });
}

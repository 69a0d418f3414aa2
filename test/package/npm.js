'use strict';

const { spawnSync } = require('node:child_process');
const path = require('node:path');
const { nodeFolder, root } = require('../../scripts/toolchain');

/** The environment of a shell of its own, whose node is this one. */
function environment() {
  const env = {
    ...process.env,
    PATH: `${path.dirname(process.execPath)}:${process.env.PATH}`,
    ...(nodeFolder() && { npm_config_nodedir: nodeFolder() }),
  };
  delete env.NODE_TEST_CONTEXT; // With it, a node --test further in runs no test.
  return env;
}

/** Runs a command and returns what it prints; a failure is thrown with it. */
function run(cwd, command, ...args) {
  const options = { cwd, env: environment(), encoding: 'utf8', maxBuffer: 1 << 26 };
  const { status, stdout, stderr, error } = spawnSync(command, args, options);
  if (error) throw error;
  if (status !== 0) throw new Error(`${command} ${args.join(' ')}\n${stdout}${stderr}`);
  return stdout;
}

/** Packs a package; returns the package's files and the tarball's name. */
function pack(name, ...options) {
  const packed = JSON.parse(run(root, 'npm', 'pack', `--workspace=${name}`, '--json', ...options));
  const { files, filename } = Object.values(packed)[0];
  return { files: files.map((file) => file.path), filename };
}

module.exports = { pack, run };

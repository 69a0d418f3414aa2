'use strict';

const assert = require('node:assert');
const { nodeFolder, root } = require('../../scripts/toolchain');
const { run } = require('../support');

const env = nodeFolder() ? { npm_config_nodedir: nodeFolder() } : {};

/** Runs a command, which must succeed, in a folder; resolves to what it prints. */
async function outputOf(cwd, command, ...args) {
  const { status, stdout, stderr } = await run(command, args, { cwd, env, timeout: 300_000 });
  assert.strictEqual(status, 0, `${command} ${args.join(' ')}\n${stdout}${stderr}`);
  return stdout;
}

/** Packs a package; resolves to the package's files and the tarball's name. */
async function pack(name, ...options) {
  const args = ['pack', `--workspace=${name}`, '--json', ...options];
  const [{ files, filename }] = Object.values(JSON.parse(await outputOf(root, 'npm', ...args)));
  return { files: files.map((file) => file.path).sort(), filename };
}

module.exports = { outputOf, pack };

'use strict';

// Compiles what `zaxbase` is published with, into `libzaxbase/prebuilt`: for each Node line its backend,
// and once the half without V8. `node scripts/prebuild.js [--arch=ARCH] [MAJOR...]`; for another machine
// than this one CC, CXX, AR and LINK name the compiler.

const fs = require('node:fs');
const path = require('node:path');
const { parseArgs } = require('node:util');

const { compile } = require('../libzaxbase/prebuilt');
const { nodeOf } = require('./nodes');
const { ensureModules, ensurePackages, nodeGyp, root } = require('./toolchain');

const { values, positionals } = parseArgs({
  options: { arch: { type: 'string', default: process.arch } },
  allowPositionals: true,
});
const majors = positionals.length > 0 ? positionals : ['20', '22', '24', '26'];

ensureModules();
ensurePackages('compiler', 'make', 'python');
const folder = path.join(root, `libzaxbase/prebuilt/linux-${values.arch}`);
const begin = Date.now();
for (const major of majors) {
  const status = compile({
    native: major === majors[0],
    args: [`--arch=${values.arch}`],
    command: [process.execPath, nodeGyp()],
    env: { npm_config_nodedir: nodeOf(major, values.arch) },
  });
  if (status !== 0) process.exit(status);
}
/** What a file may have at the most, in KiB: the package carries them all. */
const limits = { '.a': 704, '.o': 288, '.node': 120, '.json': 1 };
for (const file of fs.readdirSync(folder)) {
  const { mtimeMs, size: bytes } = fs.statSync(path.join(folder, file));
  if (mtimeMs < begin) {
    fs.rmSync(path.join(folder, file)); // Of an earlier time.
    continue;
  }
  const size = Math.ceil(bytes / 1024);
  console.log(`${String(size).padStart(5)} KiB  ${file}`);
  if (size > limits[path.extname(file)]) throw new Error(`${file} is too large`);
}

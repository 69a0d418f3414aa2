'use strict';

// Compiles what `zaxbase` is published with, into `libzaxbase/prebuilt`: for each Node line its backend,
// and once the half without V8. `node scripts/prebuild.js [--arch=ARCH...] [MAJOR...]`, by default for this
// machine and for arm64 where its compiler is installed.

const fs = require('node:fs');
const path = require('node:path');
const { parseArgs } = require('node:util');

const { compile } = require('../libzaxbase/prebuilt');
const { toolsOf } = require('./cross');
const { nodeOf } = require('./nodes');
const { ensureModules, ensurePackages, hasPackage, nodeGyp, root } = require('./toolchain');

const { values, positionals } = parseArgs({
  options: { arch: { type: 'string', multiple: true } },
  allowPositionals: true,
});
const archs = values.arch ?? new Set([process.arch, ...(hasPackage('arm64') ? ['arm64'] : [])]);
const majors = positionals.length > 0 ? positionals : ['20', '22', '24', '26'];

/** What a file may have at the most, in KiB: the package carries them all. */
const limits = {
  x64: { '.a': 760, '.o': 288, '.node': 136, '.json': 1 },
  arm64: { '.a': 840, '.o': 320, '.node': 152, '.json': 1 }, // Its pages may have 64 KiB.
};

/** Removes what is of an earlier time and checks the size of the rest. */
function checkFiles(arch, begin) {
  const folder = path.join(root, `libzaxbase/prebuilt/linux-${arch}`);
  for (const file of fs.readdirSync(folder)) {
    const { mtimeMs, size: bytes } = fs.statSync(path.join(folder, file));
    if (mtimeMs < begin) {
      fs.rmSync(path.join(folder, file));
      continue;
    }
    const size = Math.ceil(bytes / 1024);
    console.log(`${String(size).padStart(5)} KiB  linux-${arch}/${file}`);
    if (size > limits[arch][path.extname(file)]) throw new Error(`${file} is too large`);
  }
}

ensureModules();
ensurePackages('compiler', 'make', 'python');
for (const arch of archs) {
  const begin = Date.now();
  for (const major of majors) {
    const status = compile({
      native: major === majors[0],
      args: [`--arch=${arch}`],
      command: [process.execPath, nodeGyp()],
      env: { ...toolsOf(arch), npm_config_nodedir: nodeOf(major, arch) },
    });
    if (status !== 0) process.exit(status);
  }
  checkFiles(arch, begin);
}

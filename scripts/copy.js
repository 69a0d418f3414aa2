'use strict';

// A copy of the repository below `.cache`, for builds of another kind than the one in place.

const fs = require('node:fs');
const path = require('node:path');

const { root } = require('./toolchain');

const cache = path.join(root, '.cache');

/** Makes a copy without what was built, and returns its folder. */
function copyRepository(name) {
  const copy = path.join(cache, name);
  fs.rmSync(copy, { recursive: true, force: true });
  for (const entry of fs.readdirSync(root)) {
    if (entry === '.cache' || entry === '.git') continue;
    fs.cpSync(path.join(root, entry), path.join(copy, entry), {
      recursive: true,
      verbatimSymlinks: true,
      preserveTimestamps: true,
      filter: (source) => path.basename(source) !== 'build' || source.includes('node_modules'),
    });
  }
  return copy;
}

module.exports = { cache, copyRepository };

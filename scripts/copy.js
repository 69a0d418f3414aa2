'use strict';

// A copy of the repository below `.cache`, for builds of another kind than the one in place.

const fs = require('node:fs');
const path = require('node:path');

const { root } = require('./toolchain');

const cache = path.join(root, '.cache');

const isBuilt = /^(build|prebuilt|compile-\w+)$/;

/** Makes a copy without what was built, with the Nodes that were fetched, and returns its folder. */
function copyRepository(name) {
  const copy = path.join(cache, name);
  fs.rmSync(copy, { recursive: true, force: true });
  fs.mkdirSync(path.join(copy, '.cache'), { recursive: true });
  for (const node of fs.readdirSync(cache).filter((entry) => /^node-[\w-]+$/.test(entry))) {
    fs.symlinkSync(path.join(cache, node), path.join(copy, '.cache', node));
  }
  for (const entry of fs.readdirSync(root)) {
    if (entry === '.cache' || entry === '.git') continue;
    fs.cpSync(path.join(root, entry), path.join(copy, entry), {
      recursive: true,
      verbatimSymlinks: true,
      preserveTimestamps: true,
      filter: (source) => !isBuilt.test(path.basename(source)) || source.includes('node_modules'),
    });
  }
  return copy;
}

module.exports = { cache, copyRepository };

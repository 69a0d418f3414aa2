'use strict';

// Publishing an add-on on zax.h as one binary for every Node, and installing one, in its folder.

const fs = require('node:fs');
const path = require('node:path');

const { open, publishedIn } = require('./load');
const { backendOf, compile, nodeGyp, targetOf } = require('./prebuilt');

const rebuild = ['rebuild', '--jobs=max', '--loglevel=warn'];

/** Small, and without a symbol that only some Nodes have. */
const linkerFlags = '-s -Wl,--gc-sections -Wl,-z,defs';

/**
 * Builds the add-on without V8's half, into `prebuilds`; `args` go to node-gyp. Returns the exit status.
 */
function prebuild(...args) {
  const LDFLAGS = `${process.env.LDFLAGS ?? ''} ${linkerFlags}`;
  const status = nodeGyp([...rebuild, ...args], { env: { ZAXBASE_SPLIT: '1', LDFLAGS } });
  if (status !== 0) return status;
  const folder = `prebuilds/${process.platform}-${targetOf('.').arch}`;
  fs.mkdirSync(folder, { recursive: true });
  for (const file of fs.readdirSync('build/Release').filter((name) => name.endsWith('.node'))) {
    fs.renameSync(path.join('build/Release', file), path.join(folder, file));
    console.log(path.join(folder, file));
  }
  fs.rmSync('build', { recursive: true }); // What is there would be found first.
  return 0;
}

/** Compiles the backend for the Node that runs. Returns the exit status. */
function backend() {
  const status = compile();
  if (status !== 0) console.error('zaxbase needs a C++ compiler, make and Python 3 for this');
  return status;
}

/** Builds the add-on, unless it brings a binary that can be loaded here. Returns the exit status. */
function install() {
  const binary = process.env.npm_config_build_from_source ? undefined : publishedIn('.');
  try {
    if (binary && !fs.existsSync(backendOf(process.arch, process.versions.modules))) backend();
    if (binary) return open(binary) && 0;
  } catch ({ message }) {
    console.error(message);
  }
  return nodeGyp(rebuild);
}

module.exports = { backend, install, prebuild };

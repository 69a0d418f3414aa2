'use strict';

// Another machine: a compiler that makes its code, and an emulator that runs its Node.

const fs = require('node:fs');
const path = require('node:path');

const { nodeOf } = require('./nodes');

const prefixes = { arm64: 'aarch64-linux-gnu' };

/** The environment in which gyp and make build for a machine; that of this one stays as it is. */
function toolsOf(arch) {
  if (arch === process.arch) return {};
  const tool = (name) => `${prefixes[arch]}-${name}`;
  const compilers = { CC: tool('gcc'), CXX: tool('g++'), LINK: tool('g++') };
  return { ...compilers, AR: tool('ar'), NM: tool('nm'), npm_config_arch: arch };
}

/** The command that runs programs of a machine. */
function emulatorOf(arch) {
  const [cpu] = prefixes[arch].split('-');
  return [`qemu-${cpu}`, '-L', `/usr/${prefixes[arch]}`];
}

/** The folder of a command `node` for a line and a machine; the children of that Node run in it too. */
function binOf(major, arch) {
  const bin = fs.realpathSync(path.join(nodeOf(major, arch), 'bin'));
  if (arch === process.arch) return bin;
  const folder = path.join(bin, 'emulated');
  const [command, hook] = ['node', 'hook.js'].map((name) => path.join(folder, name));
  const program = [...emulatorOf(arch), path.join(bin, 'node'), '--require', hook];
  fs.mkdirSync(folder, { recursive: true });
  fs.writeFileSync(hook, `process.execPath = ${JSON.stringify(command)};\n`);
  const script = `#!/bin/sh\nexec ${program.map((word) => `'${word}'`).join(' ')} "$@"\n`;
  fs.writeFileSync(command, script, { mode: 0o755 });
  return folder;
}

module.exports = { toolsOf, emulatorOf, binOf };

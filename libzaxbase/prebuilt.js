'use strict';

// What of the framework is compiled beforehand, in `prebuilt`: for each machine `native.a`, the half
// without V8, and for each Node besides `backend-ABI.node`, which opens add-ons that were linked without
// V8's half, and `backend-ABI.o`, which goes into the others.

const fs = require('node:fs');
const path = require('node:path');

/** Loaded late: who loads an add-on runs no command. */
const spawn = (...args) => require('node:child_process').spawnSync(...args);

const folderOf = (arch) => path.join(__dirname, 'prebuilt', `linux-${arch}`);

/** The library that opens add-ons on a Node, which is there or not. */
const backendOf = (arch, abi) => path.join(folderOf(arch), `backend-${abi}.node`);

/** What the add-on in a folder is being built for, where node-gyp has written that down. */
function targetOf(folder) {
  const file = path.join(folder, 'build/config.gypi');
  if (!fs.existsSync(file)) return undefined;
  const config = JSON.parse(fs.readFileSync(file, 'utf8').replace(/^#.*/gm, ''));
  return {
    arch: config.variables.target_arch,
    abi: config.variables.node_module_version,
    configuration: config.target_defaults.default_configuration,
  };
}

/** What the compiler that make takes says of itself and a header, by the name of the macro. */
function compilerMacros({ header = 'features.h', env = process.env } = {}) {
  const compiler = env.CXX_target ?? env.CXX ?? 'g++';
  const command = `${compiler} -dM -E -x c++ -include ${header} /dev/null`;
  const { stdout } = spawn('sh', ['-c', command], { encoding: 'utf8' });
  return Object.fromEntries([...stdout.matchAll(/^#define (\w+) (.*)$/gm)].map(([, ...m]) => m));
}

const machineMacros = { x64: '__x86_64__', arm64: '__aarch64__' };

/** Whether objects of a folder can be linked with what the compiler makes: it must be g++, no older. */
function fits(folder, arch) {
  const macros = compilerMacros();
  const { gcc } = JSON.parse(fs.readFileSync(path.join(folder, 'compiler.json'), 'utf8'));
  const [own, libc] = [machineMacros[arch], '__GLIBC__'];
  return !macros.__clang__ && macros.__GNUC__ >= gcc && own in macros && libc in macros;
}

/**
 * The files that stand for the framework, or for its half without V8, in the add-on that is being built
 * in the current folder; undefined where it must be compiled.
 */
function objects({ split }) {
  const { arch, abi, configuration } = targetOf('.') ?? {};
  if (configuration !== 'Release') return undefined;
  const folder = folderOf(arch);
  const names = ['compiler.json', 'native.a', ...(split ? [] : [`backend-${abi}.o`])];
  const files = names.map((name) => path.join(folder, name));
  if (!files.every((file) => fs.existsSync(file)) || !fits(folder, arch)) return undefined;
  return files.slice(1);
}

/** Runs node-gyp, which npm has in the path of its scripts; returns the exit status. */
function nodeGyp(args, { command = ['node-gyp'], cwd, env } = {}) {
  const [program, ...first] = [...command, ...args];
  const options = { cwd, env: { ...process.env, ...env }, stdio: 'inherit' };
  const { error, status } = spawn(program, first, options);
  if (error?.code !== 'ENOENT' || program === 'npm') return status ?? 1;
  return nodeGyp([`node-gyp ${args.join(' ')}`], { command: ['npm', 'exec', '-c'], cwd, env });
}

/** Moves what was compiled to its place; a file is there at once or not at all. */
function keep(build, env) {
  const { arch, abi } = targetOf(build);
  const folder = folderOf(arch);
  fs.mkdirSync(folder, { recursive: true });
  for (const [made, name] of [
    ['backend.node', `backend-${abi}.node`],
    ['obj.target/zaxbase-v8.o', `backend-${abi}.o`],
    ['native.a', 'native.a'],
  ]) {
    const file = path.join(build, 'build/Release', made);
    if (fs.existsSync(file)) fs.renameSync(file, path.join(folder, name));
  }
  const gcc = Number(compilerMacros({ env }).__GNUC__);
  fs.writeFileSync(path.join(folder, 'compiler.json'), `${JSON.stringify({ gcc })}\n`);
}

/**
 * Compiles the backend for a Node, by default the one that runs, and with `native` the half without V8
 * too; `args` go to node-gyp. Returns the exit status.
 */
function compile({ native = false, args = [], ...options } = {}) {
  const build = fs.mkdtempSync(path.join(__dirname, 'compile-'));
  try {
    fs.copyFileSync(path.join(__dirname, 'prebuilt.gyp'), path.join(build, 'binding.gyp'));
    const targets = native ? ['backend', 'native'] : ['backend'];
    const command = ['configure', 'build', ...targets, '--jobs=max', '--loglevel=warn', ...args];
    const status = nodeGyp(command, { ...options, cwd: build });
    if (status === 0) keep(build, { ...process.env, ...options.env });
    return status;
  } finally {
    fs.rmSync(build, { recursive: true });
  }
}

module.exports = { backendOf, compile, compilerMacros, nodeGyp, objects, targetOf };

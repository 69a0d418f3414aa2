'use strict';

// What building needs: the npm packages, the system packages, and node-gyp with the headers of the
// Node that runs. Works with nothing installed but Node and npm.

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');

const root = path.resolve(__dirname, '..');

const fuzzTarget = 'extern "C" int LLVMFuzzerTestOneInput(char*, long) { return 0; }';

/** System packages: how to tell that one is there, and its name for apt. */
const packages = {
  compiler: { has: () => succeeds('g++', '--version'), apt: 'g++' },
  make: { has: () => succeeds('make', '--version'), apt: 'make' },
  python: { has: () => succeeds('python3', '--version'), apt: 'python3' },
  sqlite: { has: () => compiles('#include <sqlite3.h>'), apt: 'libsqlite3-dev' },
  gtest: { has: () => compiles('#include <gtest/gtest.h>'), apt: 'libgtest-dev' },
  clang: { has: () => succeeds('clang++', '--version'), apt: 'clang' },
  fuzzer: {
    has: () => compiles(fuzzTarget, 'clang++', '-fsanitize=fuzzer'),
    apt: 'libclang-rt-14-dev',
  },
  clangFormat: { has: () => succeeds('clang-format', '--version'), apt: 'clang-format' },
  clangTidy: { has: () => succeeds('clang-tidy', '--version'), apt: 'clang-tidy' },
  arm64: {
    has: () => succeeds('aarch64-linux-gnu-g++', '--version'),
    apt: 'g++-aarch64-linux-gnu',
  },
  emulator: { has: () => succeeds('qemu-aarch64', '--version'), apt: 'qemu-user' },
  cmake: { has: () => succeeds('cmake', '--version'), apt: 'cmake' },
  valgrind: { has: () => succeeds('valgrind', '--version'), apt: 'valgrind' },
};

function succeeds(command, ...args) {
  return spawnSync(command, args, { stdio: 'ignore' }).status === 0;
}

function compiles(source, compiler = 'g++', flag = '-fsyntax-only') {
  const args = [flag, '-x', 'c++', '-o', '/dev/null', '-'];
  return (
    spawnSync(compiler, args, { input: source, stdio: ['pipe', 'ignore', 'ignore'] }).status === 0
  );
}

/** Runs a command in a folder of the repository; its failure ends this process. */
function run(command, args, { cwd = root, env = {} } = {}) {
  const result = spawnSync(command, args, {
    cwd,
    env: { ...process.env, ...env },
    stdio: 'inherit',
  });
  if (result.error) throw result.error;
  if (result.status !== 0) process.exit(result.status ?? 1);
}

const allPackages = Object.keys(packages);
const hasPackage = (name) => packages[name].has();

/** Makes sure of the named system packages; installs the missing ones where apt and root allow. */
function ensurePackages(...names) {
  const missing = () => names.filter((name) => !hasPackage(name));
  let lacking = missing();
  if (lacking.length === 0) return;
  const apt = lacking.map((name) => packages[name].apt);
  if (process.getuid() === 0 && succeeds('apt-get', '--version')) {
    const env = { DEBIAN_FRONTEND: 'noninteractive' };
    run('apt-get', ['update', '-q'], { env });
    run('apt-get', ['install', '-y', '-q', '--no-install-recommends', ...apt], { env });
    lacking = missing();
  }
  if (lacking.length > 0) {
    console.error(
      `Missing system packages; install them with: sudo apt-get install ${apt.join(' ')}`,
    );
    process.exit(1);
  }
}

/** Installs the npm packages of the lock file, unless they are there already. */
function ensureModules() {
  const installed = path.join(root, 'node_modules', '.package-lock.json');
  const wanted = path.join(root, 'package-lock.json');
  if (fs.existsSync(installed) && fs.statSync(installed).mtimeMs >= fs.statSync(wanted).mtimeMs) {
    return;
  }
  // Workspaces are built below, with the headers at hand, and not by npm's install scripts.
  run('npm', ['ci', '--ignore-scripts', '--no-audit', '--no-fund']);
}

/** The folder of the running Node, if it carries its own headers; otherwise node-gyp fetches them. */
function nodeFolder() {
  const folder = path.resolve(process.execPath, '../..');
  return fs.existsSync(path.join(folder, 'include/node/node.h')) ? folder : undefined;
}

const nodeGyp = () => require.resolve('node-gyp/bin/node-gyp.js', { paths: [root] });

/** Builds the add-on in a folder of the repository, from sources that are as they stand. */
function build(folder, { env } = {}) {
  ensurePackages('compiler', 'make', 'python');
  const args = [nodeGyp(), 'configure', 'build', '--jobs=max', '--loglevel=warn'];
  // In the environment, where npm's own setting of the name would stand: it overrides an argument.
  const headers = nodeFolder() ? { npm_config_nodedir: nodeFolder() } : {};
  const own = { ZAXBASE_COMPILE: '1', ...headers, ...env };
  const options = { cwd: path.join(root, folder), env: { ...process.env, ...own } };
  const { status, stdout, stderr } = spawnSync(process.execPath, args, {
    ...options,
    encoding: 'utf8',
    maxBuffer: Infinity,
  });
  if (status === 0) return process.stderr.write(stderr);
  process.stderr.write(stdout + stderr);
  console.error(`Building ${folder} failed.`);
  process.exit(1);
}

/** The files below a folder of the repository whose path matches; what is built or installed is not. */
function filesIn(folder, pattern) {
  const entries = fs.readdirSync(path.join(root, folder), { withFileTypes: true });
  const found = entries.flatMap((entry) => {
    const file = path.join(folder, entry.name);
    if (!entry.isDirectory()) return pattern.test(file) ? [file] : [];
    return /^(build|node_modules|\.cache)$/.test(entry.name) ? [] : filesIn(file, pattern);
  });
  return found.sort();
}

module.exports = {
  ...{ root, run, allPackages, hasPackage, ensurePackages, ensureModules },
  ...{ nodeFolder, nodeGyp, build, filesIn },
};

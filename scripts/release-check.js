'use strict';

// Verifies what is about to be published: `node scripts/release-check.js [--draft]`, after the prebuilds.
// A draft may have a changelog without a date, and a machine whose prebuilt parts are not there.

const { execFileSync, spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { lines } = require('../libzaxbase/load');
const { ensureModules, root } = require('./toolchain');
const { diagnose } = require('./typescript');

const draft = process.argv.includes('--draft');
const folders = { zaxbase: 'libzaxbase', echo: 'echo' };
const machines = ['linux-x64', 'linux-arm64'];

const read = (file) => fs.readFileSync(path.join(root, file), 'utf8');
const manifestOf = (name) => JSON.parse(read(`${folders[name]}/package.json`));

const problems = [];

function expect(holds, problem) {
  if (!holds) problems.push(problem);
}

function checkVersions() {
  const { version } = manifestOf('zaxbase');
  for (const folder of [
    'echo',
    ...fs.readdirSync(path.join(root, 'examples')).map((name) => `examples/${name}`),
  ]) {
    const { version: own, dependencies } = JSON.parse(read(`${folder}/package.json`));
    expect(own === version, `${folder} has version ${own}, and zaxbase ${version}`);
    expect(
      dependencies.zaxbase === version,
      `${folder} depends on zaxbase ${dependencies.zaxbase}`,
    );
  }
  for (const language of ['javascript', 'typescript']) {
    const { dependencies } = JSON.parse(read(`libzaxbase/template/${language}/manifest.json`));
    expect(dependencies.zaxbase === `^${version}`, `the ${language} template asks for ^${version}`);
  }
  const [, first, date] = /^## (\S+) - (\S+)$/m.exec(read('CHANGELOG.md')) ?? [];
  expect(first === version, `the changelog begins with ${first}, not ${version}`);
  expect(draft || /^\d{4}-\d\d-\d\d$/.test(date), `${first} has no date in the changelog`);
}

function checkManifest(name) {
  const { license, repository, scripts = {} } = manifestOf(name);
  expect(license && repository?.url?.startsWith('git+https:'), `${name}: licence and repository`);
  expect(repository?.directory === folders[name], `${name}: the repository's directory`);
  const hooks = Object.keys(scripts).filter((script) => /^(pre|post)?install$/.test(script));
  expect(hooks.length === 0, `${name} has install scripts: ${hooks}`);
}

/** Packs a package into a folder; returns what npm says of it. */
function pack(name, folder) {
  const args = ['pack', `--workspace=${name}`, '--json', `--pack-destination=${folder}`];
  const options = { cwd: root, encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] };
  const [packed] = Object.values(JSON.parse(execFileSync('npm', args, options)));
  return packed;
}

/** The machines whose prebuilt parts are in the package, each complete. */
function checkPrebuilt(files) {
  const parts = Object.keys(lines).flatMap((abi) => [`backend-${abi}.node`, `backend-${abi}.o`]);
  return machines.filter((machine) => {
    const missing = ['compiler.json', 'native.a', ...parts].filter(
      (part) => !files.some((file) => file.path === `prebuilt/${machine}/${part}`),
    );
    const absent = missing.length === parts.length + 2;
    expect(missing.length === 0 || (draft && absent), `${machine} lacks ${missing.join(', ')}`);
    return !absent;
  });
}

/** Compares a size with what the package's README says, in MB. */
function checkSize(name, what, bytes, pattern) {
  const stated = Number(pattern.exec(read(`${folders[name]}/README.md`).replace(/\s+/g, ' '))?.[1]);
  const size = (bytes / 1e6).toFixed(3);
  console.log(`${name}: ${what} ${size} MB, by its README ${stated} MB`);
  const isNear = Math.abs(size - stated) <= 0.1 * stated;
  expect(isNear, `${name} says in its README that it takes ${stated} MB ${what}, not ${size}`);
}

function checkContents(name, { files, size, unpackedSize }) {
  console.log(
    `${name}: ${files.length} files, ${size} bytes to download, ${unpackedSize} unpacked`,
  );
  for (const wanted of ['README.md', 'LICENSE']) {
    expect(
      files.some((file) => file.path === wanted),
      `${name} has no ${wanted}`,
    );
  }
  let rest = unpackedSize;
  const sizeOf = (prefix) =>
    files.reduce((sum, file) => sum + (file.path.startsWith(prefix) ? file.size : 0), 0);
  for (const machine of name === 'zaxbase' ? checkPrebuilt(files) : []) {
    const bytes = sizeOf(`prebuilt/${machine}/`);
    rest -= bytes;
    const arch = machine.replace('linux-', '');
    checkSize(name, `for ${arch}`, bytes, new RegExp(`([\\d.]+) MB for ${arch}`));
  }
  checkSize(name, 'beside compiled parts', rest, /takes ([\d.]+) MB/);
}

/** Runs a tool of a package on a tarball. */
function lint(tool, file, ...args) {
  const program = path.join(root, 'node_modules/.bin', tool);
  // Without this flag WebAssembly reserves more address space than some systems allow.
  const command = ['--disable-wasm-trap-handler', program, ...args];
  const { status, stdout, stderr } = spawnSync(process.execPath, command, { encoding: 'utf8' });
  expect(status === 0, `${tool} on ${path.basename(file)}:\n${stdout}${stderr}`);
}

const consumer = `
  import { type ZaxBindingError, load, promisify } from 'zaxbase/runtime';
  import { asyncEcho, syncEcho } from 'echo';
  import { asyncEcho as echoed } from 'echo/promises';
  export const values: [string[], Promise<string>] = [zaxbase.flags, echoed(1, 'x')];
  export const same: Promise<string> = promisify(asyncEcho)(1, 'x');
  export const addOn = load<{ add(a: number): number }>(new URL('file:///'));
  export const sum: number = addOn.add(1);
  export type Thrown = ZaxBindingError;
  syncEcho(1, 'x', (error: 0, value: string) => value);
  // @ts-expect-error
  syncEcho('1', 'x', () => {});`;

/** The consumer as CommonJS and as an ES module. */
const consumers = {
  'use.cts': `import zaxbase = require('zaxbase');${consumer}`,
  'use.mts': `import zaxbase from 'zaxbase';${consumer}`,
};

/** Compiles the consumer against the packages as they are packed. */
function checkConsumer(folder, tarballs) {
  for (const [name, file] of Object.entries(tarballs)) {
    const installed = path.join(folder, 'node_modules', name);
    fs.mkdirSync(installed, { recursive: true });
    execFileSync('tar', ['-xzf', file, '--strip-components=1'], { cwd: installed });
  }
  const files = Object.keys(consumers).map((file) => path.join(folder, file));
  for (const file of files) fs.writeFileSync(file, consumers[path.basename(file)]);
  for (const [version, said] of Object.entries(diagnose(files))) {
    problems.push(`TypeScript ${version} on a consumer:\n${said}`);
  }
}

function check(folder) {
  checkVersions();
  const tarballs = {};
  for (const name of Object.keys(folders)) {
    checkManifest(name);
    const packed = pack(name, folder);
    checkContents(name, packed);
    tarballs[name] = path.join(folder, packed.filename);
    lint('publint', tarballs[name], 'run', tarballs[name], '--strict');
    lint('attw', tarballs[name], tarballs[name], '--no-color', '--no-emoji');
  }
  checkConsumer(folder, tarballs);
}

ensureModules();
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'release-'));
try {
  check(folder);
} finally {
  fs.rmSync(folder, { recursive: true });
}
for (const problem of problems) console.error(`wrong: ${problem}`);
process.exitCode = problems.length > 0 ? 1 : 0;

'use strict';

// Formatting and lint of everything that is written by hand; `--write` formats in place.

const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const { ensureModules, ensurePackages, filesIn, nodeFolder, root, run } = require('./toolchain');

const write = process.argv.includes('--write');

ensureModules();
ensurePackages('compiler', 'clang', 'clangFormat', 'clangTidy');

const tool = (file) => require.resolve(file, { paths: [root] });
run(process.execPath, [tool('prettier/bin/prettier.cjs'), write ? '--write' : '--check', '.']);
run(process.execPath, [path.join(path.dirname(tool('eslint/package.json')), 'bin/eslint.js'), '.']);

const folders = ['libzaxbase', 'echo', 'demo', 'test', 'examples', 'bench'];
const native = folders.flatMap((folder) => filesIn(folder, /\.(cpp|h)$/));
run('clang-format', [...(write ? ['-i'] : ['--dry-run', '--Werror']), ...native]);

const sources = native.filter((file) => /^(libzaxbase|echo)\/.*\.cpp$/.test(file));
const nodeHeaders = ['-isystem', path.join(nodeFolder() ?? '/usr', 'include/node')];
const nanHeaders = ['-isystem', path.dirname(require.resolve('nan', { paths: [root] }))];

/** What a source may include: what does without Node must not see its headers. */
const includes = (file) => [
  '-Ilibzaxbase',
  ...(/^libzaxbase\/(zax-(?!v8)|zaxbase-(native|errors))/.test(file)
    ? []
    : [...nodeHeaders, ...nanHeaders]),
];

const strict = ['-fsyntax-only', '-Wall', '-Wextra', '-Wno-cast-function-type', '-Werror'];

for (const file of sources) {
  for (const compiler of ['g++', 'clang++']) {
    for (const standard of ['-std=c++17', '-std=c++20']) {
      run(compiler, [standard, ...strict, ...includes(file), file]);
    }
  }
}

/** Compiles without V8 as on a system that lacks a header: its folder is one of links to the others. */
function lintWithout(header) {
  const hiding = fs.mkdtempSync(path.join(os.tmpdir(), 'headers-'));
  for (const entry of fs.readdirSync('/usr/include').filter((name) => name !== header)) {
    fs.symlinkSync(path.join('/usr/include', entry), path.join(hiding, entry));
  }
  const { stderr } = spawnSync('g++', ['-E', '-v', '-x', 'c++', '/dev/null'], { encoding: 'utf8' });
  const own = stderr.match(/^ \/.*$/gm).map((folder) => folder.trim());
  const system = own.map((folder) => (path.resolve(folder) === '/usr/include' ? hiding : folder));
  const flags = [
    '-std=c++17',
    ...strict,
    '-nostdinc',
    ...system.flatMap((dir) => ['-isystem', dir]),
  ];
  const probe = `#if __has_include(<${header}>)\n#error "${header}"\n#endif`;
  fs.writeFileSync(path.join(hiding, 'probe.h'), probe);
  run('g++', [...flags, '-include', 'probe.h', '-Ilibzaxbase', 'libzaxbase/zaxbase-native.cpp']);
  fs.rmSync(hiding, { recursive: true });
}

lintWithout('execinfo.h'); // As musl does.

run('clang-tidy', [
  '--quiet',
  ...sources.filter((file) => !/\/zaxbase[^/]*\.cpp$/.test(file)), // All of them, once more.
  '--',
  '-std=c++17',
  '-Ilibzaxbase',
  ...nodeHeaders,
  ...nanHeaders,
]);

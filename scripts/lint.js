'use strict';

// Formatting and lint of everything that is written by hand; `--write` formats in place.

const { ensureModules, ensurePackages, filesIn, nodeFolder, root, run } = require('./toolchain');
const path = require('node:path');

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

for (const file of sources) {
  for (const compiler of ['g++', 'clang++']) {
    for (const standard of ['-std=c++17', '-std=c++20']) {
      const flags = ['-fsyntax-only', '-Wall', '-Wextra', '-Wno-cast-function-type', '-Werror'];
      run(compiler, [standard, ...flags, ...includes(file), file]);
    }
  }
}

run('clang-tidy', [
  '--quiet',
  ...sources.filter((file) => !/\/zaxbase[^/]*\.cpp$/.test(file)), // All of them, once more.
  '--',
  '-std=c++17',
  '-Ilibzaxbase',
  ...nodeHeaders,
  ...nanHeaders,
]);

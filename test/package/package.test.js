'use strict';

// What the packages carry, what `require('zaxbase')` tells a build file, and `zaxbase new`.

const assert = require('node:assert');
const { spawnSync } = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { root } = require('../../scripts/toolchain');
const { pack, run } = require('./npm');

const template = [
  'binding.gyp',
  'gitignore',
  'index.d.ts',
  'index.js',
  'package.json',
  'README.md',
];
const entries = ['index.d.ts', 'index.js', 'package.json', 'LICENSE'];

test('the packages carry what their users need and nothing else', () => {
  const expected = {
    zaxbase: [
      ...entries,
      ...[
        'runtime.d.ts',
        'runtime.js',
        'error-class.js',
        'load.js',
        'bin/zaxbase.js',
        'zaxbase.gyp',
      ],
      ...fs.readdirSync(path.join(root, 'libzaxbase')).filter((file) => /\.(h|cpp)$/.test(file)),
      ...template.map((file) => `template/${file}`),
      ...['template/src/addon.cpp', 'template/test/addon.test.js'],
    ],
    echo: [
      ...entries,
      'index.mjs',
      'promises.d.ts',
      'promises.js',
      'binding.gyp',
      'zax-echo-worker.cpp',
    ],
  };
  for (const [name, files] of Object.entries(expected)) {
    assert.deepStrictEqual(pack(name, '--dry-run').files.sort(), files.sort());
  }
});

test("require('zaxbase') tells paths relative to the caller and prints nothing", () => {
  const script =
    'module.exports = require("zaxbase"); process.stdout.write(JSON.stringify(module.exports))';
  const cwd = path.join(root, 'test');
  const told = JSON.parse(run(cwd, process.execPath, '-e', script));
  const { include_dir, targets, version, source, flags } = told;
  assert.match(fs.readFileSync(path.join(cwd, source), 'utf8'), /^#include <zaxbase\.cpp>$/m);
  assert.ok(source.startsWith('build/') && flags.includes('-fexceptions'));
  assert.strictEqual(include_dir, '../libzaxbase');
  assert.strictEqual(targets, '../libzaxbase/zaxbase.gyp:zaxbase');
  assert.strictEqual(version, require('zaxbase/package.json').version);
});

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zaxbase-'));
after(() => fs.rmSync(folder, { recursive: true }));

function zaxbase(...args) {
  const command = [path.join(root, 'libzaxbase/bin/zaxbase.js'), ...args];
  const { status, stdout, stderr } = spawnSync(process.execPath, command, {
    cwd: folder,
    encoding: 'utf8',
  });
  return { status, stdout, stderr };
}

test('zaxbase new makes an add-on of the given name', () => {
  for (const [name, made] of [
    ['my-addon', 'my-addon'],
    ['@my-scope/addon.2', 'addon.2'],
  ]) {
    fs.mkdirSync(path.join(folder, made)); // An empty folder is filled.
    const { status, stdout } = zaxbase('new', name);
    assert.strictEqual(status, 0);
    assert.match(stdout, new RegExp(`cd ${made}\n +npm install\n +npm test\n`));
    const read = (file) => fs.readFileSync(path.join(folder, made, file), 'utf8');
    const files = template.map((file) => (file === 'gitignore' ? '.gitignore' : file));
    for (const file of [...files, 'src/addon.cpp', 'test/addon.test.js']) {
      assert.doesNotMatch(read(file), /ADDON_/, file);
    }
    const { name: packageName, dependencies } = JSON.parse(read('package.json'));
    assert.strictEqual(packageName, name);
    assert.deepStrictEqual(dependencies, {
      zaxbase: `^${require('zaxbase/package.json').version}`,
    });
    assert.ok(read('binding.gyp').includes(`'target_name': '${made}'`));
  }
});

test('zaxbase new refuses what would not work', () => {
  fs.mkdirSync(path.join(folder, 'full'));
  fs.writeFileSync(path.join(folder, 'full/file'), '');
  fs.writeFileSync(path.join(folder, 'file'), '');
  const before = fs.readdirSync(folder, { recursive: true });
  for (const [args, message] of [
    [[], 'Usage: zaxbase new NAME'],
    [['new'], 'Usage: zaxbase new NAME'],
    [['new', 'a', 'b'], 'Usage: zaxbase new NAME'],
    [['old', 'a'], 'Usage: zaxbase new NAME'],
    ...['', 'My-Addon', 'my addon', '../up', '.hidden', '@scope/', 'a/b', 'a'.repeat(215)].map(
      (name) => [['new', name], `"${name}" is no valid package name`],
    ),
    ...['zaxbase', 'fs', 'node_modules'].map((name) => [['new', name], `"${name}" is taken`]),
    [['new', 'full'], 'The folder full exists and is not empty'],
    [['new', 'file'], 'The folder file exists and is not empty'],
  ]) {
    const { status, stdout, stderr } = zaxbase(...args);
    assert.deepStrictEqual({ status, stdout }, { status: 1, stdout: '' });
    assert.ok(stderr.startsWith(message), stderr);
    assert.strictEqual(stderr.trimEnd().includes('\n'), false, stderr);
  }
  assert.deepStrictEqual(fs.readdirSync(folder, { recursive: true }), before);
});

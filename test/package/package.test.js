'use strict';

// What the packages carry, what `require('zaxbase')` tells a build file, and `zaxbase new`.

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, test } = require('node:test');
const { filesIn, root } = require('../../scripts/toolchain');
const { run } = require('../support');
const { outputOf, pack } = require('./npm');

/** The files of a folder, but for those that gyp writes. */
const written = (folder) =>
  filesIn(folder, /(\.(?!mk$|Makefile$|github$)\w+|LICENSE|gitignore)$/).map((file) =>
    path.relative(folder, file),
  );

test('the packages carry what is in their folders and nothing else', async () => {
  for (const [name, folder] of [
    ['zaxbase', 'libzaxbase'],
    ['echo', 'echo'],
  ]) {
    const { files } = await pack(name, '--dry-run');
    assert.deepStrictEqual(files, written(folder).sort());
  }
});

test("require('zaxbase') tells paths relative to the caller and prints nothing", async () => {
  const script = 'const told = require("zaxbase"); process.stdout.write(JSON.stringify(told))';
  const cwd = path.join(root, 'test');
  const told = JSON.parse(await outputOf(cwd, process.execPath, '-e', script));
  const { include_dir, targets, version, flags } = told;
  assert.ok(flags.includes('-fexceptions'));
  const expected = ['../libzaxbase', '../libzaxbase/zaxbase.gyp:zaxbase'];
  assert.deepStrictEqual([include_dir, targets], expected);
  assert.strictEqual(version, require('zaxbase/package.json').version);
});

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zaxbase-'));
after(() => fs.rmSync(folder, { recursive: true }));

test('the source is prebuilt where that fits, and the unit elsewhere', async () => {
  const [framework, cwd] = ['framework', 'addon'].map((name) => path.join(folder, name));
  const filter = (file) => !/(prebuilt|cpp)$/.test(file);
  fs.cpSync(path.join(root, 'libzaxbase'), framework, { recursive: true, filter });
  const objects = path.join(framework, `prebuilt/linux-${process.arch}`);
  for (const made of [objects, path.join(cwd, 'build')]) fs.mkdirSync(made, { recursive: true });
  fs.symlinkSync(objects, path.join(framework, 'prebuilt/linux-ia32'));
  for (const file of ['native.a', 'backend-7.o']) fs.writeFileSync(path.join(objects, file), '');
  const script = `console.log(require(${JSON.stringify(framework)}).source)`;
  const unit = ['<zaxbase.cpp>'];
  for (const [expected, env, { abi = 7, arch = process.arch, type = 'Release', gcc = 12 } = {}] of [
    [['native.a"', 'backend-7.o"']],
    [['native.a"'], { ZAXBASE_SPLIT: '1' }, { abi: 8 }],
    ...[{ abi: 8 }, { type: 'Debug' }, { arch: 'ia32' }, { gcc: 99 }].map((own) => [unit, {}, own]),
    ...[{ CXX: 'g++ -D__clang__' }, { CXXFLAGS: '-g' }, { ZAXBASE_COMPILE: '1' }].map((own) => [
      unit,
      own,
    ]),
    [['<zaxbase-native.cpp>'], { ZAXBASE_COMPILE: '1', ZAXBASE_SPLIT: '1' }],
  ]) {
    const variables = { target_arch: arch, node_module_version: abi };
    const config = { target_defaults: { default_configuration: type }, variables };
    fs.writeFileSync(path.join(cwd, 'build/config.gypi'), `# No edit\n${JSON.stringify(config)}`);
    fs.writeFileSync(path.join(objects, 'compiler.json'), JSON.stringify({ gcc }));
    const own = { NODE_PATH: path.join(root, 'node_modules'), CXXFLAGS: '', ...env };
    const { stdout } = await run(process.execPath, ['-e', script], { cwd, env: own });
    const text = fs.readFileSync(path.resolve(cwd, stdout.trim()), 'utf8');
    assert.deepStrictEqual(text.match(/[<\w.-]+[">]/g), expected);
  }
});

const program = path.join(root, 'libzaxbase/bin/zaxbase.js');
const zaxbase = (...args) => run(process.execPath, [program, ...args], { cwd: folder });

test('zaxbase new makes an add-on of the given name', async () => {
  for (const [name, made, language, ...flags] of [
    ['my-addon', 'my-addon', 'javascript'],
    ['@my-scope/addon.2', 'addon.2', 'typescript', '--typescript'],
  ]) {
    fs.mkdirSync(path.join(folder, made)); // An empty folder is filled.
    const { status, stdout } = await zaxbase('new', ...flags, name);
    assert.strictEqual(status, 0);
    assert.match(stdout, new RegExp(`cd ${made}\n +npm install\n +npm test\n`));
    const read = (file) => fs.readFileSync(path.join(folder, made, file), 'utf8');
    for (const part of ['common', language]) {
      for (const file of written(`libzaxbase/template/${part}`)) {
        const copied = file.replace(/^gitignore$/, '.$&').replace('manifest', 'package');
        assert.doesNotMatch(read(copied), /ADDON_/, copied);
      }
    }
    const { version } = require('zaxbase/package.json');
    const { name: packageName, dependencies, scripts } = JSON.parse(read('package.json'));
    assert.deepStrictEqual([packageName, dependencies], [name, { zaxbase: `^${version}` }]);
    assert.ok(read('binding.gyp').includes(`'target_name': '${made}'`));
    const called = read('.github/workflows/prebuilds.yml').matchAll(/npm run (\S+)/g);
    for (const [, script] of called) assert.ok(scripts[script], script);
  }
});

test('zaxbase new refuses what would not work', async () => {
  fs.mkdirSync(path.join(folder, 'full'));
  for (const file of ['full/file', 'file']) fs.writeFileSync(path.join(folder, file), '');
  const before = fs.readdirSync(folder, { recursive: true });
  const invalid = ['', 'My-Addon', 'my addon', '../up', '.hidden', '@scope/', 'a/b'];
  for (const [message, calls] of Object.entries({
    'Usage:\n': [
      [],
      ['new'],
      ['new', 'a', 'b'],
      ['new', 'a', '--b'],
      ['old', 'a'],
      ['install', 'a'],
    ],
    '"$" is no valid package name': [...invalid, 'a'.repeat(215)],
    '"$" is taken\n': ['zaxbase', 'fs', 'node_modules'],
    'The folder $ exists and is not empty\n': ['full', 'file'],
  })) {
    for (const call of calls) {
      const args = Array.isArray(call) ? call : ['new', call];
      const { status, stdout, stderr } = await zaxbase(...args);
      assert.deepStrictEqual([status, stdout], [1, '']);
      assert.ok(stderr.startsWith(message.replace('$', args[1])), stderr);
    }
  }
  assert.deepStrictEqual(fs.readdirSync(folder, { recursive: true }), before);
});

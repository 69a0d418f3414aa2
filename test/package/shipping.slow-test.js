'use strict';

// One binary for every Node: built without V8's half on one of them, it does on all what it should; it is
// refused where it does not fit, installed without a compiler, and compiled where something is missing.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, test } = require('node:test');

const { cache } = require('../../scripts/copy');
const { binOf, toolsOf } = require('../../scripts/cross');
const { root } = require('../../scripts/toolchain');
const { run } = require('../support');
const { outputOf, pack } = require('./npm');

/** Another machine than this one, and some of the Node lines: scripts/arm64.js names them. */
const { TEST_ARCH: arch = process.arch, TEST_MAJORS = '20 22 24 26' } = process.env;
const majors = TEST_MAJORS.split(' ');
const nodes = majors.map((major) => binOf(major, arch));
Object.assign(process.env, toolsOf(arch));

const published = `prebuilds/linux-${arch}`;
const framework = path.join(root, 'libzaxbase');
const prebuilt = path.join(framework, `prebuilt/linux-${arch}`);
const zaxbase = [process.execPath, path.join(framework, 'bin/zaxbase.js')];
const work = path.join(cache, 'shipping'); // Below the root, where the modules are found.
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'shipping-'));
after(() => [work, folder].forEach((made) => fs.rmSync(made, { recursive: true, force: true })));

const write = (file, content) => {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, typeof content === 'string' ? content : JSON.stringify(content));
  return file;
};

before(() => {
  fs.rmSync(work, { recursive: true, force: true });
  return outputOf(root, process.execPath, 'scripts/prebuild.js', `--arch=${arch}`, ...majors);
});

test('one binary passes the tests of the plain road on every Node', async () => {
  const asked = (what) => `<!@(node -p "[].concat(require('zaxbase').${what}).join(' ')")`;
  const sources = ['plain/plain.cpp', 'plain/types.cpp', asked('source')];
  const target = {
    target_name: 'plain',
    sources,
    cflags_cc: [asked('flags')],
    defines: ['NDEBUG'],
  };
  fs.cpSync(path.join(root, 'test/plain'), path.join(work, 'plain'), { recursive: true });
  fs.cpSync(path.join(root, 'test/support.js'), path.join(work, 'support.js'));
  write(path.join(work, 'binding.gyp'), { targets: [target] });
  await outputOf(work, ...zaxbase, 'prebuild');
  fs.mkdirSync(path.join(work, 'build'));
  fs.renameSync(path.join(work, published), path.join(work, 'build/Release')); // Where tests look.
  const symbols = await outputOf(work, process.env.NM ?? 'nm', '-Du', 'build/Release/plain.node');
  assert.match(symbols, /^( +w .*\n| +U .*@(C|GCC|GLIB).*\n)+$/); // Of C and C++ alone.

  const hook = `const open = require.extensions['.node'];
    const backend = '${prebuilt}/backend-' + process.versions.modules + '.node';
    require.extensions['.node'] = (module, file) => {
      const ours = /(plain|copy)\\.node$/.test(file);
      if (ours ? require(backend).open(file, module.exports) : open(module, file)) throw file;
    };`;
  const options = `NODE_OPTIONS=--require ${write(path.join(work, 'hook.js'), hook)}`;
  const inWorker = `new (require('worker_threads').Worker)('./plain/values.test.js')`;
  const inMain = ['functions', 'tasks', 'values'].map((name) => `plain/${name}.test.js`);
  const both = (node) =>
    [
      ['--test', ...inMain],
      ['-e', inWorker],
    ].map((args) => [node, args]);
  for (const [node, args] of nodes.flatMap(both)) {
    const command = ['env', options, `${node}/node`, '--expose-gc', ...args];
    assert.match(await outputOf(work, ...command), /^. pass [1-9]\d*\n. fail 0$/m);
  }
});

test('a binary is opened where its interface fits, and refused with a sentence elsewhere', async () => {
  const source = `#include <zax-backend.h>
    extern "C" const ZaxNeeds* zax_needs() { static ZaxNeeds needs{MAJOR, SIZE}; return &needs; }
    extern "C" bool zax_module(const ZaxBackend* backend, ZaxValue* exports) {
      return backend->setProperty(exports, backend->makeString("x", 1), backend->makeNumber(7));
    }`;
  const load = `const { load } = require('zaxbase/runtime');
    try { for (const folder of process.argv.slice(1)) console.log(load(folder).x); }
    catch ({ code, message }) { console.log(code, message); }
    console.log(Object.keys(require.cache).filter((file) => file.includes('backend-')).length);`;
  const addon = (name) => path.join(folder, name);
  const refused = (name, reason) => {
    const file = path.join(addon(name), published, `${name}.node`);
    const cure = 'install the zaxbase that its package asks for, or build it here';
    const command = `To build it: cd "${addon(name)}" && npx node-gyp rebuild`;
    return `ERR_DLOPEN_FAILED ${file} was made for ${reason}: ${cure}\n${command}\n1\n`;
  };
  const version = 'version 2 of the interface to JavaScript, and this zaxbase has version 1';
  for (const [name, major, size, answer, ...beside] of [
    ['same', 1, 0, '7\n1\n'],
    ['older', 1, -8, '7\n7\n1\n', 'same'],
    ['newer', 1, 8, refused('newer', 'a newer zaxbase than this one')],
    ['other', 2, 0, refused('other', version)],
  ]) {
    const values = [`-DMAJOR=${major}`, `-DSIZE=sizeof(ZaxBackend)+${size}`, `-I${framework}`];
    const file = write(path.join(addon(name), published, `${name}.node`), '');
    const stub = write(path.join(addon(name), 'stub.cpp'), source);
    await outputOf(root, 'g++', '-shared', '-fPIC', ...values, '-o', file, stub);
    const folders = [name, ...beside].map(addon);
    assert.equal(await outputOf(root, process.execPath, '-e', load, ...folders), answer);
  }
});

test('an add-on with a binary needs no compiler; without one it is compiled', async () => {
  const { filename, files } = await pack('zaxbase', `--pack-destination=${folder}`);
  const ours = files.filter((file) => file.startsWith(`prebuilt/linux-${arch}/backend`));
  assert.equal(ours.length, 2 * majors.length);
  await outputOf(folder, ...zaxbase, 'new', 'my-addon');
  const addon = path.join(folder, 'my-addon');
  await outputOf(addon, 'npm', 'pkg', 'set', `dependencies.zaxbase=file:${folder}/${filename}`);
  await outputOf(addon, 'npm', 'install', '--ignore-scripts', '--no-audit', '--no-fund');
  await outputOf(addon, 'npm', 'run', 'prebuilds');
  assert.match(await outputOf(addon, 'npm', 'test'), /pass 5\n.*fail 0\n/s);
  const [packed] = JSON.parse(await outputOf(addon, 'npm', 'pack', '--json'));

  const dependencies = { 'my-addon': `file:${addon}/${packed.filename}` };
  const consumer = path.dirname(write(path.join(folder, 'user/package.json'), { dependencies }));
  const installed = path.join(consumer, 'node_modules');
  const script = `const { Worker } = require('node:worker_threads');
    const call = "console.log(require('my-addon').smallestFactor(91))";
    new Worker(call, { eval: true }).on('exit', () => {
      eval(call);
      for (const file of Object.keys(require.cache)) delete require.cache[file];
      eval(call);
    });`;
  const works = async (node) =>
    assert.equal(await outputOf(consumer, node, '-e', script), '7\n7\n7\n');
  for (const node of nodes) {
    fs.rmSync(installed, { recursive: true, force: true });
    const nothing = ['CC=false', 'CXX=false', 'npm_config_nodedir=/none'];
    const env = ['env', `PATH=${node}:${process.env.PATH}`, ...nothing];
    await outputOf(consumer, ...env, 'npm', 'install', '--no-audit', '--no-fund');
    assert.deepEqual(fs.readdirSync(path.join(installed, 'my-addon/prebuilds')).length, 1);
    await works(`${node}/node`);
  }
  // Without the backend, then without the binary, then without the objects.
  fs.rmSync(path.join(installed, 'zaxbase/prebuilt'), { recursive: true });
  const { stderr } = await run(process.execPath, ['-e', script], { cwd: consumer });
  const [, cure] = /zaxbase has no backend for Node .*\nTo build it: (.*)/.exec(stderr);
  await outputOf(folder, 'sh', '-c', cure);
  await works(process.execPath);
  for (const part of ['my-addon/prebuilds', 'zaxbase/prebuilt']) {
    fs.rmSync(path.join(installed, part), { recursive: true });
    await outputOf(consumer, 'npm', 'rebuild');
    assert.ok(fs.existsSync(path.join(installed, 'my-addon/build/Release/my-addon.node')));
    await works(process.execPath);
  }
});

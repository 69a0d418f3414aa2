'use strict';

// One binary for every Node: built without V8's half on one of them, it does on all what it should; it is
// found, refused, installed without a compiler, and compiled where it is missing.

const assert = require('node:assert/strict');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, test } = require('node:test');

const { cache } = require('../../scripts/copy');
const { nodeOf } = require('../../scripts/nodes');
const { root } = require('../../scripts/toolchain');
const { run } = require('../support');
const { outputOf, pack } = require('./npm');

const [running] = process.versions.node.split('.');
/** The other lines are fetched once: a copy of the repository for one of them tests that one. */
const majors = running === '20' ? ['20', '22', '24', '26'] : [running];
const nodes = majors.map((major) => path.join(nodeOf(major), 'bin/node'));

const machine = `linux-${process.arch}`;
const prebuilt = path.join(root, 'libzaxbase/prebuilt', machine);
const command = path.join(root, 'libzaxbase/bin/zaxbase.js');
const work = path.join(cache, 'shipping'); // Below the root, where the modules are found.
const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'shipping-'));
after(() => [work, folder].forEach((made) => fs.rmSync(made, { recursive: true, force: true })));

const write = (file, text) => {
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.writeFileSync(file, text);
};

/** What a program prints that succeeds, on a Node. */
async function printed(node, args, options) {
  const { status, stdout, stderr } = await run(node, args, { timeout: 300_000, ...options });
  assert.equal(status, 0, `${node} ${args.join(' ')}\n${stdout}${stderr}`);
  return stdout;
}

before(() => printed(process.execPath, ['scripts/prebuild.js', ...majors], { cwd: root }));

test('what is prebuilt has a bounded size', async () => {
  for (const file of fs.readdirSync(prebuilt)) {
    const most = { '.a': 600, '.o': 200, '.node': 120, '.json': 1 }[path.extname(file)];
    assert.ok(fs.statSync(path.join(prebuilt, file)).size <= most * 1024, file);
  }
});

test('one binary passes the tests of the plain road on every Node', async (t) => {
  const flags = `<!@(node -p "require('zaxbase').flags.join(' ')")`;
  const sources = ['plain/plain.cpp', `<!(node -p "require('zaxbase').source")`];
  const target = { target_name: 'plain', sources, cflags_cc: [flags], defines: ['NDEBUG'] };
  fs.rmSync(work, { recursive: true, force: true });
  fs.cpSync(path.join(root, 'test/plain'), path.join(work, 'plain'), { recursive: true });
  fs.cpSync(path.join(root, 'test/support.js'), path.join(work, 'support.js'));
  write(path.join(work, 'binding.gyp'), JSON.stringify({ targets: [target] }));
  await outputOf(work, process.execPath, command, 'prebuild');
  const file = path.join(work, 'build/Release/plain.node'); // Where the tests look.
  fs.mkdirSync(path.dirname(file), { recursive: true });
  fs.renameSync(path.join(work, 'prebuilds', machine, 'plain.node'), file);
  const undefinedOnes = await printed('nm', ['-D', '--undefined-only', file]);
  assert.match(undefinedOnes, /__cxa_throw/);
  assert.doesNotMatch(undefinedOnes, /^ +U [^@]+$/m); // All are of the C and C++ libraries.

  const hook = path.join(work, 'hook.js');
  write(
    hook,
    `const open = require.extensions['.node'];
     const backend = ${JSON.stringify(prebuilt)} + '/backend-' + process.versions.modules + '.node';
     require.extensions['.node'] = (module, file) => {
       if (!/(plain|copy)\\.node$/.test(file)) return open(module, file);
       const reason = require(backend).open(file, module.exports);
       if (reason !== undefined) throw new Error(reason);
     };`,
  );
  const inWorker = `new (require('worker_threads').Worker)('./plain/values.test.js')`;
  for (const [i, node] of nodes.entries()) {
    await t.test(`Node ${majors[i]}`, async () => {
      const env = { NODE_OPTIONS: `--require ${hook}` };
      const tests = ['functions', 'values'].map((name) => `plain/${name}.test.js`);
      for (const args of [
        ['--expose-gc', '--test', ...tests],
        ['--expose-gc', '-e', inWorker],
      ]) {
        const text = await printed(node, args, { cwd: work, env });
        assert.match(text, /^. pass [1-9]\d*\n. fail 0$/m);
      }
    });
  }
});

test('a binary is opened where its interface fits, and refused with a sentence elsewhere', async () => {
  const source = `#include <zax-backend.h>
    extern "C" const ZaxNeeds* zax_needs() { static ZaxNeeds needs{MAJOR, SIZE}; return &needs; }
    extern "C" bool zax_module(const ZaxBackend* backend, ZaxValue* exports) {
      ZaxValue* name = backend->makeString("major", 5);
      return backend->setProperty(exports, name, backend->makeNumber(backend->major));
    }`;
  const load = `const { load } = require('zaxbase/runtime');
    try {
      for (const folder of process.argv.slice(1)) console.log(load(folder).major);
    } catch ({ code, message }) { console.log(code, message); }
    console.log(Object.keys(require.cache).filter((file) => file.includes('backend-')).length);`;
  const cure = 'install the zaxbase that its package asks for, or build it here';
  for (const [name, major, size, answer] of [
    ['same', 1, 'sizeof(ZaxBackend)', '1\n1\n'],
    ['older', 1, 'sizeof(ZaxBackend) - 8', '1\n1\n1\n'],
    ['newer', 1, 'sizeof(ZaxBackend) + 8', `newer.node was made for a newer zaxbase than this one`],
    ['other', 2, 8, 'other.node was made for version 2 of the interface to JavaScript, and this'],
  ]) {
    const addon = path.join(folder, name);
    const file = path.join(addon, 'prebuilds', machine, `${name}.node`);
    write(path.join(addon, 'stub.cpp'), source);
    write(file, '');
    const values = [`-DMAJOR=${major}`, `-DSIZE=${size}`, '-I', path.join(root, 'libzaxbase')];
    await printed('g++', ['-shared', '-fPIC', ...values, '-o', file, `${addon}/stub.cpp`]);
    const beside = name === 'older' ? [path.join(folder, 'same')] : [];
    const text = await printed(process.execPath, ['-e', load, addon, ...beside], { cwd: root });
    assert.ok(text.includes(answer), text);
    if (!answer.startsWith('1')) {
      assert.ok(text.startsWith(`ERR_DLOPEN_FAILED ${file}`) && text.includes(cure), text);
      assert.ok(text.endsWith(`To build it: cd "${addon}" && npx node-gyp rebuild\n1\n`), text);
    }
  }
});

/** A folder with a Node, npm and a shell, and no compiler beside them. */
function without(node) {
  const bin = fs.mkdtempSync(path.join(folder, 'bin-'));
  const found = (tool) => process.env.PATH.split(':').map((place) => path.join(place, tool));
  for (const tool of ['npm', 'sh', 'env']) {
    const [file] = found(tool).filter((name) => fs.existsSync(name));
    fs.symlinkSync(fs.realpathSync(file), path.join(bin, tool));
  }
  fs.symlinkSync(node, path.join(bin, 'node'));
  return bin;
}

test('a packed add-on with a binary needs no compiler, and is compiled without one', async (t) => {
  const { filename, files } = await pack('zaxbase', `--pack-destination=${folder}`);
  assert.ok(files.filter((file) => file.endsWith('.node')).length === majors.length);
  const zaxbase = `file:${path.join(folder, filename)}`;
  await outputOf(folder, process.execPath, command, 'new', 'my-addon');
  const addon = path.join(folder, 'my-addon');
  const manifest = path.join(addon, 'package.json');
  const content = JSON.parse(fs.readFileSync(manifest, 'utf8'));
  write(manifest, JSON.stringify({ ...content, dependencies: { zaxbase } }));
  await outputOf(addon, 'npm', 'install', '--ignore-scripts', '--no-audit', '--no-fund');
  await outputOf(addon, 'npm', 'run', 'prebuilds');
  assert.match(await outputOf(addon, 'npm', 'test'), /pass 2\n.*fail 0\n/s);
  const [packed] = JSON.parse(await outputOf(addon, 'npm', 'pack', '--json'));

  const script = `const { Worker } = require('node:worker_threads');
    const call = "console.log(require('my-addon').smallestFactor(91))";
    new Worker(call, { eval: true }).on('exit', () => {
      eval(call);
      for (const file of Object.keys(require.cache)) delete require.cache[file];
      eval(call);
    });`;
  const use = ['-e', script];
  const consumer = path.join(folder, 'consumer');
  const npmIn = (bin, ...args) =>
    printed('env', [`PATH=${bin}`, 'npm', ...args], { cwd: consumer });
  const dependencies = { 'my-addon': `file:${path.join(addon, packed.filename)}` };
  for (const [i, node] of nodes.entries()) {
    await t.test(`Node ${majors[i]}`, async () => {
      fs.rmSync(consumer, { recursive: true, force: true });
      write(path.join(consumer, 'package.json'), JSON.stringify({ private: true, dependencies }));
      await npmIn(without(node), 'install', '--no-audit', '--no-fund');
      assert.ok(!fs.existsSync(path.join(consumer, 'node_modules/my-addon/build')));
      assert.equal(await printed(node, use, { cwd: consumer }), '7\n7\n7\n');
    });
  }

  const installed = (part) => path.join(consumer, 'node_modules', part);
  const remove = (part) => fs.rmSync(installed(part), { recursive: true });
  await t.test('without the backend, which is compiled by a command', async () => {
    fs.rmSync(consumer, { recursive: true, force: true });
    write(path.join(consumer, 'package.json'), JSON.stringify({ private: true, dependencies }));
    await outputOf(consumer, 'npm', 'install', '--no-audit', '--no-fund');
    remove('zaxbase/prebuilt');
    const { stderr } = await run(process.execPath, use, { cwd: consumer });
    const [, cure] = /zaxbase has no backend for Node .*\nTo build it: (.*)/.exec(stderr);
    await outputOf(folder, 'sh', '-c', cure);
    assert.equal(await printed(process.execPath, use, { cwd: consumer }), '7\n7\n7\n');
  });

  for (const part of ['my-addon/prebuilds', 'zaxbase/prebuilt']) {
    await t.test(`without ${part}, compiled by npm`, async () => {
      remove(part);
      fs.rmSync(installed('my-addon/build'), { recursive: true, force: true });
      await outputOf(consumer, 'npm', 'rebuild');
      assert.equal(await printed(process.execPath, use, { cwd: consumer }), '7\n7\n7\n');
    });
  }
});

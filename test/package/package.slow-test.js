'use strict';

// The packages as their users get them: packed, then installed, built and run in a folder outside
// the repository whose path contains a space. Takes a minute or two.

const assert = require('node:assert');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');
const { after, before, test } = require('node:test');
const { diagnose } = require('../../scripts/typescript');
const { outputOf, pack } = require('./npm');

const folder = fs.mkdtempSync(path.join(os.tmpdir(), 'zaxbase packages '));
const tarballs = {};

before(async () => {
  for (const name of ['zaxbase', 'echo']) {
    const { filename } = await pack(name, `--pack-destination=${folder}`);
    tarballs[name] = `file:${path.join(folder, filename)}`;
  }
});
after(() => fs.rmSync(folder, { recursive: true }));

const install = (cwd, ...options) =>
  outputOf(cwd, 'npm', 'install', '--no-audit', '--no-fund', ...options);

function writeManifest(cwd, content) {
  fs.mkdirSync(cwd, { recursive: true });
  fs.writeFileSync(path.join(cwd, 'package.json'), JSON.stringify(content));
}

test('the packed echo installs, builds and runs', async () => {
  const consumer = path.join(folder, 'consumer');
  writeManifest(consumer, { private: true, dependencies: tarballs });
  await install(consumer);
  const script = `
    const echo = require('echo');
    const { asyncEchoWithNotifications } = require('echo/promises');
    const place = (error) => console.log(error.details.file, error.code);
    try { echo.syncEcho(1) } catch (error) { place(error) }
    echo.asyncEcho(1, 'job_failure', place);
    asyncEchoWithNotifications(50, 'x', () => {}).then((reply) => process.exit(console.log(reply)));`;
  const printed = await outputOf(consumer, process.execPath, '-e', script);
  assert.deepStrictEqual(printed.split('\n'), [
    'libzaxbase/zax-exception-common.cpp EBADARG',
    'echo/zax-echo-worker.cpp TEST-ERROR',
    ...['x', ''],
  ]);
});

/** Makes an add-on from the template, with the packed framework, and resolves to its folder. */
async function scaffold(cwd, name, ...flags) {
  fs.mkdirSync(cwd, { recursive: true });
  const command = ['exec', '--yes', `--package=${tarballs.zaxbase}`, '--', 'zaxbase', 'new', name];
  await outputOf(cwd, 'npm', ...command, ...flags);
  const addon = path.join(cwd, path.basename(name));
  const content = JSON.parse(fs.readFileSync(path.join(addon, 'package.json'), 'utf8'));
  writeManifest(addon, { ...content, dependencies: { zaxbase: tarballs.zaxbase } });
  return addon;
}

for (const [name, declarations, tests, ...flags] of [
  ['my-addon', 'index.d.ts', 5],
  ['my-typed-addon', 'native.d.ts', 4, '--typescript'],
]) {
  test(`the add-on of zaxbase new ${flags} passes its tests within two minutes`, async (t) => {
    const begin = Date.now();
    const addon = await scaffold(folder, name, ...flags);
    await install(addon);
    const passed = new RegExp(`pass ${tests}\\n.*fail 0\\n`, 's');
    assert.match(await outputOf(addon, 'npm', 'test'), passed);
    const seconds = Math.round((Date.now() - begin) / 1000);
    t.diagnostic(`${seconds} s from nothing`);
    assert.ok(seconds < 120);

    const file = path.join(addon, declarations);
    const text = fs.readFileSync(file, 'utf8');
    fs.writeFileSync(file, text.replace('number: number', 'number: string'));
    await assert.rejects(outputOf(addon, 'npm', 'test'), /write it anew: npm run types/);
    await outputOf(addon, 'npm', 'run', 'types');
    assert.strictEqual(fs.readFileSync(file, 'utf8'), text);

    const use = `import { centroid, type Point } from '${name}';
      const point: Point = centroid([{ x: 1, y: 2 }]); export { point };`;
    const uses = ['use.cts', 'use.mts'].map((entry) => path.join(addon, entry));
    for (const entry of uses) fs.writeFileSync(entry, use);
    assert.deepStrictEqual(diagnose(uses), {});
  });
}

test('an add-on that was built for another Node says so', async () => {
  // Whose V8 has a function that this one lacks.
  const addon = path.join(folder, 'my-addon');
  const source = path.join(addon, 'src/addon.cpp');
  const text = fs.readFileSync(source, 'utf8');
  const lacking = text.replace(/ZAX_MODULE.*/, 'namespace v8 { void absent(); }\n$& v8::absent();');
  fs.writeFileSync(source, lacking);
  const version = process.versions.modules - 1;
  const flags = `CXXFLAGS=-DNODE_EMBEDDER_MODULE_VERSION=${version}`;
  await outputOf(addon, 'env', flags, 'npm', 'run', 'build');
  const loaded = outputOf(addon, process.execPath, '.');
  await assert.rejects(loaded, / was built for another Node \(NODE_MODULE/);
});

// Where the framework and the add-on stand to each other: the add-on's name, and its workspace.
for (const [layout, name, workspace] of [
  ['hoisted', 'a-1'],
  ['scoped', '@s/a-2'],
  ['workspace', 'a-3', 'packages/group/native'],
]) {
  test(`${layout}, a build writes into its own folder only`, async () => {
    const root = path.join(folder, layout);
    const addon = await scaffold(path.join(root, workspace ?? '../packed'), name);
    const [{ filename }] = JSON.parse(await outputOf(addon, 'npm', 'pack', '--json'));
    const dependencies = workspace ? {} : { [name]: `file:${path.join(addon, filename)}` };
    writeManifest(root, {
      private: true,
      workspaces: workspace && [`${workspace}/*`],
      dependencies,
    });
    await install(root, '--ignore-scripts');
    const files = () =>
      fs.readdirSync(root, { recursive: true }).filter((file) => !file.includes(`${name}/build`));
    const before = files();
    await outputOf(root, 'npm', 'rebuild');
    assert.deepStrictEqual(files(), before);
    const script = `
      import { promisify } from 'zaxbase/runtime';
      import { smallestFactor } from ${JSON.stringify(name)};
      console.log(typeof promisify, smallestFactor(91));`;
    const printed = await outputOf(root, process.execPath, '--input-type=module', '-e', script);
    assert.strictEqual(printed, 'function 7\n');
  });
}
